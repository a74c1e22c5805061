#pragma once

#include <string>

namespace velarnctl {

// Lines from a file descriptor with a bounded wait, so that the caller can
// look at other things (the daemon going away) while nobody types.
class NavInput {
 public:
  explicit NavInput(int fd) : fd(fd) {}

  enum class Result { Line, Idle, End };
  // A whole line (without its line end) if one is there or arrives within
  // timeoutMs; Idle if none did; End at the end of the input, after a last
  // line without a line end has been given out.
  Result Next(std::string& line, int timeoutMs);

 private:
  bool TakeLine(std::string& line);

  int fd;
  std::string buffer;
  bool ended = false;
};

}  // namespace velarnctl

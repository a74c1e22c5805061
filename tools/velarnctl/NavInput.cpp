#include "velarnctl/NavInput.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>

namespace velarnctl {

bool NavInput::TakeLine(std::string& line) {
  const size_t end = buffer.find('\n');
  if (end == std::string::npos) {
    return false;
  }
  line = buffer.substr(0, end);
  if (!line.empty() && line.back() == '\r') {
    line.pop_back();
  }
  buffer.erase(0, end + 1);
  return true;
}

NavInput::Result NavInput::Next(std::string& line, int timeoutMs) {
  if (TakeLine(line)) {
    return Result::Line;
  }
  if (ended) {
    if (buffer.empty()) {
      return Result::End;
    }
    line.swap(buffer);
    buffer.clear();
    return Result::Line;
  }
  pollfd entry = {fd, POLLIN, 0};
  const int ready = poll(&entry, 1, timeoutMs);
  if (ready < 0 && errno != EINTR) {
    ended = true;
    return Next(line, 0);
  }
  if (ready <= 0) {
    return Result::Idle;
  }
  char chunk[4096];
  const ssize_t count = read(fd, chunk, sizeof(chunk));
  if (count < 0 && (errno == EINTR || errno == EAGAIN)) {
    return Result::Idle;
  }
  if (count <= 0) {
    ended = true;
  } else {
    buffer.append(chunk, static_cast<size_t>(count));
  }
  return Next(line, 0);
}

}  // namespace velarnctl

#include "velarnctl/WholeLine.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <iostream>

namespace velarnctl {

void WriteWhole(std::ostream& out, const std::string& text) {
  const int fd = &out == &std::cout ? STDOUT_FILENO : &out == &std::cerr ? STDERR_FILENO : -1;
  if (fd < 0) {
    out << text;
    out.flush();
    return;
  }
  // Earlier text of either stream comes first.
  std::cout.flush();
  std::cerr.flush();
  std::fflush(stdout);
  std::fflush(stderr);
  const char* data = text.data();
  size_t left = text.size();
  while (left > 0) {
    const ssize_t written = ::write(fd, data, left);
    if (written < 0) {
      if (errno == EINTR) {
        continue;
      }
      out.setstate(std::ios::badbit);
      return;
    }
    data += written;
    left -= static_cast<size_t>(written);
  }
}

}  // namespace velarnctl

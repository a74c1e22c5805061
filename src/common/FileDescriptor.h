#pragma once

#include <unistd.h>

namespace common {

// Owns an open file descriptor (or -1) and closes it on every way out.
class FileDescriptor {
 public:
  explicit FileDescriptor(int fd) : fd(fd) {}
  ~FileDescriptor() { Close(); }
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  int Get() const { return fd; }
  // Closes now, so that the caller sees close()'s result (a failed write may
  // show only here); later calls do nothing and return 0.
  int Close() {
    const int result = fd >= 0 ? ::close(fd) : 0;
    fd = -1;
    return result;
  }

 private:
  int fd;
};

}  // namespace common

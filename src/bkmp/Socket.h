#pragma once

// Small helpers over the socket calls: deadlines in microseconds, waiting on
// one descriptor, Unix socket addresses.

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <chrono>

namespace bkmp {

// A point in monotonic time, a time-out after its construction.
class Deadline {
 public:
  explicit Deadline(long long timeoutMicroseconds);
  // Time left, zero once passed.
  timespec Left() const;

 private:
  std::chrono::steady_clock::time_point end;
};

enum class WaitResult { Ready, TimedOut, Failed };

// Waits until fd has one of events (POLLIN, POLLOUT), an error or a hang-up,
// or the deadline passes. A signal doesn't end the wait early.
WaitResult WaitFor(int fd, short events, const Deadline& deadline);

// Fills a Unix-domain address with path; false when the path is empty or too
// long for it.
bool MakeAddress(const char* path, sockaddr_un& address, socklen_t& length);

// A new Unix-domain stream socket, close-on-exec and non-blocking; -1 on failure.
int OpenStreamSocket();

// Closes a descriptor at the end of a scope unless it is released.
class DescriptorGuard {
 public:
  explicit DescriptorGuard(int fd) : fd(fd) {}
  ~DescriptorGuard();
  DescriptorGuard(const DescriptorGuard&) = delete;
  DescriptorGuard& operator=(const DescriptorGuard&) = delete;
  int Get() const { return fd; }
  int Release() {
    const int released = fd;
    fd = -1;
    return released;
  }

 private:
  int fd;
};

}  // namespace bkmp

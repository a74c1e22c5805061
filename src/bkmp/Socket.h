#pragma once

// Small helpers over the socket calls: deadlines in microseconds, waiting on
// one descriptor, Unix socket addresses.

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <atomic>
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

// What lets another thread end a wait early (BKMPServerWake,
// BKMPConnectionWake): an eventfd, made at the first wait or wake, so that an
// object nobody waits on costs no descriptor. A wake that finds nobody
// waiting stays set until a wait consumes it, so it can't be lost between a
// caller's test of its own flag and its wait. Without an eventfd (for want of
// descriptors) Wake fails and waits run to their time-out.
class Waker {
 public:
  Waker() = default;
  ~Waker();
  Waker(const Waker&) = delete;
  Waker& operator=(const Waker&) = delete;
  // The eventfd, made by whichever thread comes first; -1 if none can be.
  int Get();
  bool Wake();
  void Consume();

 private:
  std::atomic<int> fd{-1};
};

// Waits until fd has one of events (POLLIN, POLLOUT), an error or a hang-up,
// the deadline passes, or waker (if given) is woken, which counts as the
// deadline passing. A signal doesn't end the wait early.
WaitResult WaitFor(int fd, short events, const Deadline& deadline, Waker* waker = nullptr);

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

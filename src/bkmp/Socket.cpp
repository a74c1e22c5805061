// Deadlines, waits and addresses of the socket code.
#include "bkmp/Socket.h"

#include <errno.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>

namespace bkmp {

Deadline::Deadline(long long timeoutMicroseconds)
    : end(std::chrono::steady_clock::now() + std::chrono::microseconds(timeoutMicroseconds)) {}

timespec Deadline::Left() const {
  const auto left = end - std::chrono::steady_clock::now();
  timespec result{0, 0};
  if (left > std::chrono::steady_clock::duration::zero()) {
    const auto nanoseconds = std::chrono::duration_cast<std::chrono::nanoseconds>(left).count();
    result.tv_sec = static_cast<time_t>(nanoseconds / 1000000000);
    result.tv_nsec = static_cast<long>(nanoseconds % 1000000000);
  }
  return result;
}

Waker::~Waker() {
  if (fd >= 0) {
    close(fd);
  }
}

int Waker::Get() {
  int current = fd.load();
  if (current >= 0) {
    return current;
  }
  const int made = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (made < 0) {
    return -1;
  }
  if (!fd.compare_exchange_strong(current, made)) {
    close(made);  // the other thread was first
    return current;
  }
  return made;
}

bool Waker::Wake() {
  const uint64_t one = 1;
  const int wakeFd = Get();
  return wakeFd >= 0 && write(wakeFd, &one, sizeof(one)) == static_cast<ssize_t>(sizeof(one));
}

void Waker::Consume() {
  uint64_t count = 0;
  if (read(fd.load(), &count, sizeof(count)) < 0) {
    // Nothing was set: nothing to consume.
  }
}

WaitResult WaitFor(int fd, short events, const Deadline& deadline, Waker* waker) {
  for (;;) {
    pollfd entries[2] = {{fd, events, 0}, {waker != nullptr ? waker->Get() : -1, POLLIN, 0}};
    const timespec left = deadline.Left();
    // ppoll, not poll: the time-out is kept to the microsecond, not rounded to
    // milliseconds, so a short time-out can't turn into a busy loop. An entry
    // of -1 (no waker) is ignored.
    const int result = ppoll(entries, 2, &left, nullptr);
    if (result > 0) {
      if ((entries[1].revents & POLLIN) != 0) {
        waker->Consume();
        return WaitResult::TimedOut;
      }
      return (entries[0].revents & POLLNVAL) != 0 ? WaitResult::Failed : WaitResult::Ready;
    }
    if (result == 0) {
      return WaitResult::TimedOut;
    }
    if (errno != EINTR) {
      return WaitResult::Failed;
    }
  }
}

bool MakeAddress(const char* path, sockaddr_un& address, socklen_t& length) {
  std::memset(&address, 0, sizeof(address));
  address.sun_family = AF_UNIX;
  const size_t size = path != nullptr ? std::strlen(path) : 0;
  if (size == 0 || size >= sizeof(address.sun_path)) {
    return false;
  }
  std::memcpy(address.sun_path, path, size);
  length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + size + 1);
  return true;
}

int OpenStreamSocket() { return socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0); }

DescriptorGuard::~DescriptorGuard() {
  if (fd >= 0) {
    close(fd);
  }
}

}  // namespace bkmp

// Deadlines, waits and addresses of the socket code.
#include "bkmp/Socket.h"

#include <errno.h>
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

WaitResult WaitFor(int fd, short events, const Deadline& deadline) {
  for (;;) {
    pollfd entry{fd, events, 0};
    const timespec left = deadline.Left();
    // ppoll, not poll: the time-out is kept to the microsecond, not rounded to
    // milliseconds, so a short time-out can't turn into a busy loop.
    const int result = ppoll(&entry, 1, &left, nullptr);
    if (result > 0) {
      return (entry.revents & POLLNVAL) != 0 ? WaitResult::Failed : WaitResult::Ready;
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

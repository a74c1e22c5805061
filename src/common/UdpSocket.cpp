#include "common/UdpSocket.h"

#include <sys/ioctl.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

#include "common/Buffer.h"
#include "common/Exceptions.h"

namespace common {

namespace {

const char* const kWriteFailure = "can't write to socket";
const char* const kReadFailure = "can't read from socket";

}  // namespace

UdpSocket::~UdpSocket() {
  if (fd != -1) {
    ::close(fd);
  }
}

void UdpSocket::Open() {
  if (fd != -1) {
    throw InvalidOperationException("socket is just open");
  }
  const int created = ::socket(AF_INET, SOCK_DGRAM, 0);
  if (created == -1) {
    throw IOException("can't open socket", errno);
  }
  // select() can't watch a descriptor at or above FD_SETSIZE; refuse it here
  // rather than write behind the descriptor set later.
  if (created >= FD_SETSIZE) {
    ::close(created);
    throw IOException("can't open socket", EMFILE);
  }
  fd = created;
}

void UdpSocket::Close() {
  if (fd == -1) {
    throw InvalidOperationException("port was closed");
  }
  ::close(fd);
  fd = -1;
}

void UdpSocket::Bind(const sockaddr_in& local) {
  if (::bind(fd, reinterpret_cast<const sockaddr*>(&local), sizeof(local)) == -1) {
    throw IOException("can't bind socket", errno);
  }
}

void UdpSocket::Connect(const sockaddr_in& remote) {
  if (::connect(fd, reinterpret_cast<const sockaddr*>(&remote), sizeof(remote)) == -1) {
    throw IOException("can't connect", errno);
  }
}

bool UdpSocket::Wait(bool forWriting, unsigned timeout, const char* failureText) {
  // A closed socket would leave select() an empty set, which without a
  // time-out waits for ever.
  if (fd < 0 || fd >= FD_SETSIZE) {
    throw IOException(failureText, EBADF);
  }
  fd_set set;
  FD_ZERO(&set);
  FD_SET(fd, &set);
  timeval limit{};
  timeval* limitPointer = nullptr;
  if (timeout != 0) {
    limit.tv_sec = timeout / 1000;
    limit.tv_usec = (timeout % 1000) * 1000;
    limitPointer = &limit;
  }
  const int result =
      ::select(fd + 1, forWriting ? nullptr : &set, forWriting ? &set : nullptr, nullptr, limitPointer);
  if (result == -1) {
    throw IOException(failureText, errno);
  }
  return FD_ISSET(fd, &set);
}

int UdpSocket::Send(const void* bytes, unsigned count, unsigned timeout) {
  if (count == 0) {
    return 0;
  }
  if (!Wait(true, timeout, kWriteFailure)) {
    return -1;
  }
  const ssize_t sent = ::send(fd, bytes, count, 0);
  if (sent < 0) {
    throw IOException(kWriteFailure, errno);
  }
  return static_cast<int>(sent);
}

int UdpSocket::Send(const Buffer& buffer, unsigned timeout) {
  return Send(buffer.GetData(), buffer.GetSize(), timeout);
}

int UdpSocket::SendTo(const void* bytes, unsigned count, const sockaddr_in& to, unsigned timeout) {
  if (count == 0) {
    return 0;
  }
  if (!Wait(true, timeout, kWriteFailure)) {
    return -1;
  }
  const ssize_t sent = ::sendto(fd, bytes, count, 0, reinterpret_cast<const sockaddr*>(&to), sizeof(to));
  if (sent < 0) {
    throw IOException(kWriteFailure, errno);
  }
  return static_cast<int>(sent);
}

int UdpSocket::SendTo(const Buffer& buffer, const sockaddr_in& to, unsigned timeout) {
  return SendTo(buffer.GetData(), buffer.GetSize(), to, timeout);
}

int UdpSocket::Receive(Buffer& buffer, unsigned timeout) { return ReceiveInto(buffer, nullptr, timeout); }

int UdpSocket::ReceiveFrom(Buffer& buffer, sockaddr_in& from, unsigned timeout) {
  return ReceiveInto(buffer, &from, timeout);
}

int UdpSocket::ReceiveInto(Buffer& buffer, sockaddr_in* from, unsigned timeout) {
  bool ready = false;
  try {
    ready = Wait(false, timeout, kReadFailure);
  } catch (...) {
    buffer.SetSize(0);
    throw;
  }
  if (!ready) {
    buffer.SetSize(0);
    return -1;
  }
  int count = 0;
  if (::ioctl(fd, FIONREAD, &count) == -1) {
    const int error = errno;
    buffer.SetSize(0);
    throw IOException(kReadFailure, error);
  }
  if (count > 0 && buffer.GetCapacity() < static_cast<unsigned>(count)) {
    buffer.SetCapacity(static_cast<unsigned>(count));
  }
  ssize_t received = 0;
  if (from != nullptr) {
    socklen_t length = sizeof(*from);
    received =
        ::recvfrom(fd, buffer.GetData(), buffer.GetCapacity(), 0, reinterpret_cast<sockaddr*>(from), &length);
  } else {
    received = ::recv(fd, buffer.GetData(), buffer.GetCapacity(), 0);
  }
  if (received < 0) {
    const int error = errno;
    buffer.SetSize(0);
    throw IOException(kReadFailure, error);
  }
  buffer.SetSize(static_cast<unsigned>(received));
  return static_cast<int>(received);
}

}  // namespace common

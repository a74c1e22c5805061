#include "common/UdpSocket.h"

#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "common/Buffer.h"
#include "common/Exceptions.h"

namespace common {

namespace {

const char* const kWriteFailure = "can't write to socket";
const char* const kReadFailure = "can't read from socket";

// Behind the receive buffer: with it any IPv4 datagram (at most 65,507 bytes
// of payload) fits whole in the one call.
constexpr unsigned kSpareSize = 65536;

bool TimedOut(int error) { return error == EAGAIN || error == EWOULDBLOCK || error == EINTR; }

}  // namespace

UdpSocket::UdpSocket() = default;

UdpSocket::~UdpSocket() {
  if (fd != -1) {
    ::close(fd);
  }
}

void UdpSocket::Open() {
  if (fd != -1) {
    throw InvalidOperationException("socket is just open");
  }
  const int created = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (created == -1) {
    throw IOException("can't open socket", errno);
  }
  fd = created;
  receiveTimeout = 0;
  sendTimeout = 0;
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

void UdpSocket::WakeReceiver() {
  // On a datagram socket that isn't connected the call reports ENOTCONN, but
  // it has shut the reading side all the same and woken the waiting receive.
  ::shutdown(fd, SHUT_RD);
}

void UdpSocket::SetTimeout(int option, unsigned timeout, unsigned& current, const char* failureText) {
  if (timeout == current && fd != -1) {
    return;
  }
  timeval limit{};
  limit.tv_sec = timeout / 1000;
  limit.tv_usec = static_cast<suseconds_t>((timeout % 1000) * 1000);
  if (::setsockopt(fd, SOL_SOCKET, option, &limit, sizeof(limit)) == -1) {
    throw IOException(failureText, errno);
  }
  current = timeout;
}

int UdpSocket::SendOne(const void* bytes, unsigned count, const sockaddr_in* to, unsigned timeout) {
  if (count == 0) {
    return 0;
  }
  SetTimeout(SO_SNDTIMEO, timeout, sendTimeout, kWriteFailure);
  const ssize_t sent = to != nullptr ? ::sendto(fd, bytes, count, MSG_NOSIGNAL,
                                                reinterpret_cast<const sockaddr*>(to), sizeof(*to))
                                     : ::send(fd, bytes, count, MSG_NOSIGNAL);
  if (sent < 0) {
    if (TimedOut(errno)) {
      return -1;
    }
    throw IOException(kWriteFailure, errno);
  }
  return static_cast<int>(sent);
}

int UdpSocket::Send(const void* bytes, unsigned count, unsigned timeout) {
  return SendOne(bytes, count, nullptr, timeout);
}

int UdpSocket::Send(const Buffer& buffer, unsigned timeout) {
  return Send(buffer.GetData(), buffer.GetSize(), timeout);
}

int UdpSocket::SendTo(const void* bytes, unsigned count, const sockaddr_in& to, unsigned timeout) {
  return SendOne(bytes, count, &to, timeout);
}

int UdpSocket::SendTo(const Buffer& buffer, const sockaddr_in& to, unsigned timeout) {
  return SendTo(buffer.GetData(), buffer.GetSize(), to, timeout);
}

int UdpSocket::Receive(Buffer& buffer, unsigned timeout) { return ReceiveInto(buffer, nullptr, timeout); }

int UdpSocket::ReceiveFrom(Buffer& buffer, sockaddr_in& from, unsigned timeout) {
  return ReceiveInto(buffer, &from, timeout);
}

int UdpSocket::ReceiveInto(Buffer& buffer, sockaddr_in* from, unsigned timeout) {
  buffer.SetSize(0);
  SetTimeout(SO_RCVTIMEO, timeout, receiveTimeout, kReadFailure);
  if (!spare) {
    spare.reset(new unsigned char[kSpareSize]);
  }
  const unsigned capacity = buffer.GetCapacity();
  iovec parts[2] = {{buffer.GetData(), capacity}, {spare.get(), kSpareSize}};
  msghdr message{};
  message.msg_name = from;
  message.msg_namelen = from != nullptr ? sizeof(*from) : 0;
  message.msg_iov = parts;
  message.msg_iovlen = 2;
  // MSG_TRUNC: the result is the datagram's real length even if it didn't
  // fit, which the spare block makes impossible for IPv4.
  const ssize_t received = ::recvmsg(fd, &message, MSG_TRUNC);
  if (received < 0) {
    if (TimedOut(errno)) {
      return -1;
    }
    throw IOException(kReadFailure, errno);
  }
  const unsigned length = static_cast<unsigned>(received);
  if (length > capacity + kSpareSize) {
    throw IOException(kReadFailure, EMSGSIZE);
  }
  if (length > capacity) {
    // The buffer adapts to the longest datagram seen and keeps that size.
    buffer.SetSize(capacity);
    buffer.SetCapacity(length);
    std::memcpy(buffer.GetData() + capacity, spare.get(), length - capacity);
  }
  buffer.SetSize(length);
  return static_cast<int>(length);
}

}  // namespace common

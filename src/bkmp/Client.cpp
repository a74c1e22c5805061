// The client side: a connection object that connects to a listening server.
#include <errno.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <new>

#include "bkmp/ConnectionObject.h"
#include "bkmp/Socket.h"

namespace {

// Connects fd to address, waiting until deadline while the server's queue is
// full. The socket is blocking here: for a Unix stream socket, connect() then
// waits for room in the queue up to the send time-out, and gives EAGAIN after
// it (a non-blocking connect would fail at once instead, with nothing to poll).
int Connect(int fd, const sockaddr_un& address, socklen_t length, const bkmp::Deadline& deadline) {
  for (;;) {
    const timespec left = deadline.Left();
    timeval wait{left.tv_sec, static_cast<suseconds_t>(left.tv_nsec / 1000)};
    if (wait.tv_sec == 0 && wait.tv_usec == 0) {
      wait.tv_usec = 1;  // a zero send time-out would mean waiting forever
    }
    if (setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &wait, sizeof(wait)) != 0) {
      return BKMP_E_NOMEM;
    }
    if (connect(fd, reinterpret_cast<const sockaddr*>(&address), length) == 0) {
      return BKMP_OK;
    }
    if (errno == EAGAIN || errno == EINTR) {
      const timespec now = deadline.Left();
      if (now.tv_sec == 0 && now.tv_nsec == 0) {
        return BKMP_E_TIMEOUT;
      }
      continue;  // a signal, or time left after all: try again
    }
    return BKMP_E_CONNECT;
  }
}

}  // namespace

extern "C" {

int BKMPConnectionCreate(BKMPConnection* connection, int timeout) {
  if (connection == nullptr || timeout < 0) {
    return BKMP_E_INVALID;
  }
  *connection = new (std::nothrow) BKMPConnectionObject(-1, timeout);
  return *connection != nullptr ? BKMP_OK : BKMP_E_NOMEM;
}

int BKMPConnectionConnectTimeout(BKMPConnection connection, const char* address, int timeout) {
  if (connection == nullptr || address == nullptr || timeout < 0 || connection->fd >= 0) {
    return BKMP_E_INVALID;
  }
  sockaddr_un socketAddress{};
  socklen_t length = 0;
  if (!bkmp::MakeAddress(address, socketAddress, length)) {
    return BKMP_E_ADDRESS;
  }
  bkmp::DescriptorGuard fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (fd.Get() < 0) {
    return BKMP_E_NOMEM;
  }
  const int result = Connect(fd.Get(), socketAddress, length, bkmp::Deadline(timeout));
  if (result != BKMP_OK) {
    return result;
  }
  // Receive and Send never block in the socket itself, only in their waits.
  const int flags = fcntl(fd.Get(), F_GETFL);
  if (flags < 0 || fcntl(fd.Get(), F_SETFL, flags | O_NONBLOCK) != 0) {
    return BKMP_E_NOMEM;
  }
  connection->fd = fd.Release();
  return BKMP_OK;
}

}  // extern "C"

// The server side: a listening socket file and the connections it accepts.
#include <errno.h>
#include <sys/socket.h>
#include <unistd.h>

#include <new>
#include <string>

#include "bkmp/ConnectionObject.h"
#include "bkmp/Socket.h"
#include "bkmp/SocketFile.h"

namespace {

// Peers that may wait for Accept at the same time; more find the server busy.
constexpr int kBacklog = 16;

}  // namespace

struct BKMPServerObject {
  explicit BKMPServerObject(long long timeout) : timeout(timeout) {}

  const long long timeout;  // microseconds, for Accept and the accepted connections
  int fd = -1;              // listening socket, -1 before Listen
  bkmp::Waker waker;        // ends a waiting Accept (BKMPServerWake)
  std::string path;
  bkmp::SocketFileId file;
};

extern "C" {

int BKMPServerCreate(BKMPServer* server, int timeout, int /*reserved1*/, int /*reserved2*/) {
  if (server == nullptr || timeout < 0) {
    return BKMP_E_INVALID;
  }
  *server = new (std::nothrow) BKMPServerObject(timeout);
  return *server != nullptr ? BKMP_OK : BKMP_E_NOMEM;
}

int BKMPServerListen(BKMPServer server, const char* address) {
  if (server == nullptr || address == nullptr || server->fd >= 0) {
    return BKMP_E_INVALID;
  }
  try {
    std::string path(address);
    int fd = -1;
    const int result = bkmp::ListenAt(path, kBacklog, fd, server->file);
    if (result == BKMP_OK) {
      server->fd = fd;
      server->path = std::move(path);
    }
    return result;
  } catch (const std::bad_alloc&) {
    return BKMP_E_NOMEM;
  }
}

int BKMPServerAccept(BKMPServer server, BKMPConnection* connection) {
  if (server == nullptr || connection == nullptr || server->fd < 0) {
    return BKMP_E_INVALID;
  }
  *connection = nullptr;
  const bkmp::Deadline deadline(server->timeout);
  for (;;) {
    const int fd = accept4(server->fd, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (fd >= 0) {
      *connection = new (std::nothrow) BKMPConnectionObject(fd, server->timeout);
      if (*connection == nullptr) {
        close(fd);
        return BKMP_E_NOMEM;
      }
      return BKMP_OK;
    }
    if (errno == EINTR || errno == ECONNABORTED) {
      continue;  // a signal, or a peer that gave up while queued
    }
    if (errno != EAGAIN && errno != EWOULDBLOCK) {
      return errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM ? BKMP_E_NOMEM
                                                                                       : BKMP_E_INVALID;
    }
    switch (bkmp::WaitFor(server->fd, POLLIN, deadline, &server->waker)) {
      case bkmp::WaitResult::Ready:
        break;
      case bkmp::WaitResult::TimedOut:
        return BKMP_E_TIMEOUT;
      case bkmp::WaitResult::Failed:
        return BKMP_E_INVALID;
    }
  }
}

int BKMPServerWake(BKMPServer server) {
  if (server == nullptr) {
    return BKMP_E_INVALID;
  }
  return server->waker.Wake() ? BKMP_OK : BKMP_E_NOMEM;
}

int BKMPServerDestroy(BKMPServer server) {
  if (server == nullptr) {
    return BKMP_E_INVALID;
  }
  if (server->fd >= 0) {
    // Removed before closing: a new server may bind the name right after, and
    // that file is then not ours to remove.
    bkmp::RemoveSocketFile(server->path, server->file);
    close(server->fd);
  }
  delete server;
  return BKMP_OK;
}

}  // extern "C"

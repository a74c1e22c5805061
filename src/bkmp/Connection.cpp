// Receiving and sending frames on a connection, on both sides.
#include <errno.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <new>

#include "bkmp/ConnectionObject.h"
#include "bkmp/Wire.h"

namespace {

// Bytes read from the socket per call.
constexpr size_t kReadChunk = 16 * 1024;

// How long a sender waits for the peer to take at least one byte before the
// connection is given up, whatever the receive time-out: a local peer that
// takes nothing for a second has hung, and a sender (often holding its
// owner's lock) must not hang with it.
constexpr long long kSendStall = 1000000;

}  // namespace

BKMPConnectionObject::~BKMPConnectionObject() {
  if (fd >= 0) {
    close(fd);
  }
}

void BKMPConnectionObject::End() {
  if (!ended.exchange(true)) {
    shutdown(fd, SHUT_RDWR);
  }
}

int BKMPConnectionObject::ReadSome(const bkmp::Deadline& deadline) {
  uint8_t chunk[kReadChunk];
  bool wait = !mayHaveMore;
  for (;;) {
    const bkmp::WaitResult result =
        wait ? bkmp::WaitFor(fd, POLLIN, deadline, &waker) : bkmp::WaitResult::Ready;
    if (result == bkmp::WaitResult::TimedOut) {
      return BKMP_E_TIMEOUT;  // or woken
    }
    if (result == bkmp::WaitResult::Failed) {
      End();
      return BKMP_E_CLOSED;
    }
    const ssize_t count = recv(fd, chunk, sizeof(chunk), MSG_DONTWAIT);
    if (count > 0) {
      received.insert(received.end(), chunk, chunk + count);
      mayHaveMore = static_cast<size_t>(count) == sizeof(chunk);
      return BKMP_OK;
    }
    if (count < 0 && errno == EINTR) {
      wait = false;
      continue;
    }
    if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
      wait = true;
      continue;
    }
    End();  // the peer has gone (count 0) or the socket failed
    return BKMP_E_CLOSED;
  }
}

int BKMPConnectionObject::Receive(BKMPMessage* message) {
  std::lock_guard<std::mutex> lock(receiveMutex);
  if (ended) {
    return BKMP_E_CLOSED;
  }
  const bkmp::Deadline deadline(timeout);
  for (;;) {
    // Frames that came together with an earlier one are handed out before
    // anything is read, and a frame still arriving stays buffered across
    // calls: a slow peer never yields half a message.
    BKMPMessageObject decoded;
    size_t used = 0;
    switch (bkmp::DecodeFrame(received.data(), received.size(), used, decoded)) {
      case bkmp::DecodeResult::Complete: {
        BKMPMessageObject* result = new (std::nothrow) BKMPMessageObject(std::move(decoded));
        if (result == nullptr) {
          return BKMP_E_NOMEM;
        }
        received.erase(received.begin(), received.begin() + static_cast<std::ptrdiff_t>(used));
        *message = result;
        return BKMP_OK;
      }
      case bkmp::DecodeResult::Malformed:
        received.clear();
        End();
        return BKMP_E_PROTOCOL;
      case bkmp::DecodeResult::Incomplete:
        break;
    }
    const int result = ReadSome(deadline);
    if (result != BKMP_OK) {
      return result;
    }
  }
}

int BKMPConnectionObject::Send(const BKMPMessageObject& message) {
  std::vector<uint8_t> frame;
  if (!bkmp::EncodeFrame(message, frame)) {
    return BKMP_E_NOMEM;
  }
  std::lock_guard<std::mutex> lock(sendMutex);
  if (ended) {
    return BKMP_E_CLOSED;
  }
  size_t sent = 0;
  bkmp::Deadline stall(kSendStall);
  while (sent < frame.size()) {
    const ssize_t count = send(fd, frame.data() + sent, frame.size() - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (count > 0) {
      sent += static_cast<size_t>(count);
      stall = bkmp::Deadline(kSendStall);
    } else if (count < 0 && errno == EINTR) {
      continue;
    } else if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK) &&
               bkmp::WaitFor(fd, POLLOUT, stall) == bkmp::WaitResult::Ready) {
      continue;
    } else {
      // The peer has gone, or took nothing for too long: a frame cut short
      // would leave the stream unreadable, so the connection ends here.
      End();
      return BKMP_E_CLOSED;
    }
  }
  return BKMP_OK;
}

extern "C" {

int BKMPConnectionReceive(BKMPConnection connection, BKMPMessage* message) {
  if (connection == nullptr || message == nullptr || connection->fd < 0) {
    return BKMP_E_INVALID;
  }
  *message = nullptr;
  try {
    return connection->Receive(message);
  } catch (const std::bad_alloc&) {
    return BKMP_E_NOMEM;
  }
}

int BKMPConnectionSend(BKMPConnection connection, BKMPMessage message) {
  if (connection == nullptr || message == nullptr || connection->fd < 0) {
    return BKMP_E_INVALID;
  }
  try {
    return connection->Send(*message);
  } catch (const std::bad_alloc&) {
    return BKMP_E_NOMEM;
  }
}

int BKMPConnectionWake(BKMPConnection connection) {
  if (connection == nullptr) {
    return BKMP_E_INVALID;
  }
  return connection->waker.Wake() ? BKMP_OK : BKMP_E_NOMEM;
}

int BKMPConnectionDestroy(BKMPConnection connection) {
  if (connection == nullptr) {
    return BKMP_E_INVALID;
  }
  delete connection;
  return BKMP_OK;
}

}  // extern "C"

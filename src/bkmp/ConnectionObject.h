#pragma once

// The library's inside view of a connection: one stream socket, the bytes of
// frames received but not yet handed out, and what lets one receiving thread
// and any number of sending threads share it.

#include <atomic>
#include <cstdint>
#include <mutex>
#include <vector>

#include "bkmp/MessageObject.h"
#include "bkmp/Socket.h"
#include "bkmp/bkmp.h"

struct BKMPConnectionObject {
  // fd: a connected socket, or -1 for a client that hasn't connected yet.
  BKMPConnectionObject(int fd, long long timeout) : fd(fd), timeout(timeout) {}
  ~BKMPConnectionObject();
  BKMPConnectionObject(const BKMPConnectionObject&) = delete;
  BKMPConnectionObject& operator=(const BKMPConnectionObject&) = delete;

  int Receive(BKMPMessage* message);
  int Send(const BKMPMessageObject& message);

  // Ends the connection for good: both directions are shut down, which also
  // wakes a thread waiting in Receive, and every later call is BKMP_E_CLOSED.
  void End();

  int fd;                   // set before the connection is shared, never changed after
  const long long timeout;  // microseconds
  bkmp::Waker waker;        // ends a waiting Receive (BKMPConnectionWake)

 private:
  // Appends what the socket holds, waiting for it until deadline: BKMP_OK,
  // BKMP_E_TIMEOUT or BKMP_E_CLOSED (the connection has ended then).
  int ReadSome(const bkmp::Deadline& deadline);

  std::atomic<bool> ended{false};
  std::mutex receiveMutex;        // one Receive at a time
  std::vector<uint8_t> received;  // under receiveMutex
  // Under receiveMutex: the last read filled its whole chunk, so more may be
  // waiting; otherwise the next read waits first (one call fewer when
  // messages come one at a time).
  bool mayHaveMore = false;
  std::mutex sendMutex;  // one frame at a time on the stream
};

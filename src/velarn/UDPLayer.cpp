#include "velarn/UDPLayer.h"

#include <sys/socket.h>
#include <unistd.h>

#include <boost/bind/bind.hpp>

#include "common/Buffer.h"
#include "common/Exceptions.h"

namespace velarn {

namespace {

// The receive blocks until a datagram comes, and Stop wakes it. The time-out
// is only a safety net, should a platform not wake it: it bounds the stop and
// costs an idle link one wake-up in this many milliseconds.
const unsigned kReceiveTimeoutMs = 5000;

}  // namespace

UDPLayer::UDPLayer(boost::recursive_mutex& mutex, const sockaddr_in& local, const sockaddr_in& peer)
    : ARawDataLayer(mutex), started(false), stopRequested(false), localAddress(local), peerAddress(peer) {}

UDPLayer::~UDPLayer() {
  if (started) {
    Stop();
  }
}

void UDPLayer::Start() {
  if (started) {
    throw InvalidOperationException("UDPLayer was started");
  }
  stopRequested = false;
  socket.Open();
  try {
    socket.Bind(localAddress);
    thread.reset(new boost::thread(boost::bind(&UDPLayer::ReceiveLoop, this)));
  } catch (...) {
    // A failed start leaves nothing open, so that a later Start can succeed.
    socket.Close();
    throw;
  }
  started = true;
}

void UDPLayer::Stop() {
  if (!started) {
    throw InvalidOperationException("UDPLayer was stopped");
  }
  stopRequested = true;
  socket.WakeReceiver();
  thread->join();
  thread.reset();
  // The layers above send under the stack's mutex from other threads (the
  // driver's event thread may still send while the driver stops), so the
  // socket goes away under it too; only the join must run without it.
  boost::recursive_mutex::scoped_lock lock(StackMutex(), boost::defer_lock);
  if (HasReceiver()) {
    lock.lock();
  }
  socket.Close();
  started = false;
}

void UDPLayer::SendRawData(const common::Buffer& data) {
  try {
    socket.SendTo(data, peerAddress, 0);
  } catch (...) {
    // Lost like any datagram; the transport's retransmission deals with it.
  }
}

sockaddr_in UDPLayer::GetBoundAddress() const {
  sockaddr_in bound = localAddress;
  if (started) {
    socklen_t length = sizeof(bound);
    if (::getsockname(socket.GetDescriptor(), reinterpret_cast<sockaddr*>(&bound), &length) != 0) {
      bound = localAddress;
    }
  }
  return bound;
}

void UDPLayer::ReceiveLoop() {
  // One buffer for the whole run; the socket enlarges it for a longer
  // datagram, and it keeps that capacity afterwards.
  common::Buffer buffer(2048, 200);
  while (!stopRequested) {
    try {
      sockaddr_in from{};
      if (socket.ReceiveFrom(buffer, from, kReceiveTimeoutMs) < 0) {
        continue;
      }
      // Only the unit's host may talk to the stack; its port isn't compared,
      // and replies still go to peerAddress.
      if (from.sin_addr.s_addr != peerAddress.sin_addr.s_addr) {
        continue;
      }
      NotifyRawData(buffer);
    } catch (...) {
      // A failed read costs this round only. The short pause keeps a socket
      // that fails at once on every call from spinning the processor.
      usleep(10000);
    }
  }
}

}  // namespace velarn

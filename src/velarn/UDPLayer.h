#pragma once

#include <netinet/in.h>

#include <atomic>
#include <boost/shared_ptr.hpp>
#include <boost/thread/thread.hpp>

#include "common/UdpSocket.h"
#include "velarn/ARawDataLayer.h"

namespace velarn {

// The raw layer over one UDP socket and one receiving thread. The socket is
// bound to localAddress and not connected: datagrams from any sender reach the
// loop, which keeps those whose IPv4 address is the unit's (any port) and
// drops all others. Everything is sent to peerAddress.
//
// The loop blocks in its receive until a datagram comes; Stop() wakes it, so
// an idle link costs no wake-ups and a stop doesn't wait for a time-out.
class UDPLayer : public ARawDataLayer {
 public:
  UDPLayer(boost::recursive_mutex& mutex, const sockaddr_in& localAddress, const sockaddr_in& peerAddress);
  ~UDPLayer() override;

  // Opens and binds the socket and starts the thread. Throws
  // InvalidOperationException("UDPLayer was started") when running, and the
  // socket's IOException when it can't bind (the layer stays stopped).
  void Start() override;
  // Ends and joins the thread and closes the socket. Throws
  // InvalidOperationException("UDPLayer was stopped") when not running.
  void Stop() override;

  // One datagram to the unit. Failures are swallowed: for the layers above a
  // datagram that couldn't be written is one that got lost.
  void SendRawData(const common::Buffer& data) override;

  // The address the socket is bound to while started (the real port when
  // localAddress asked for port 0); localAddress while stopped.
  sockaddr_in GetBoundAddress() const;

 private:
  void ReceiveLoop();

  bool started;
  std::atomic<bool> stopRequested;
  boost::shared_ptr<boost::thread> thread;
  sockaddr_in localAddress;
  sockaddr_in peerAddress;
  common::UdpSocket socket;
};

}  // namespace velarn

#pragma once

#include <netinet/in.h>

#include "velarn/ARawDataLayerFactory.h"

namespace velarn {

// Makes UDPLayers bound to localAddress and talking to peerAddress (the
// daemon's zuaddr and velarnaddr).
class UDPLayerFactory : public ARawDataLayerFactory {
 public:
  UDPLayerFactory(const sockaddr_in& localAddress, const sockaddr_in& peerAddress)
      : localAddress(localAddress), peerAddress(peerAddress) {}
  ARawDataLayer* Create(boost::recursive_mutex& mutex) override;

 private:
  sockaddr_in localAddress;
  sockaddr_in peerAddress;
};

}  // namespace velarn

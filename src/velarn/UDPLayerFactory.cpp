#include "velarn/UDPLayerFactory.h"

#include "velarn/UDPLayer.h"

namespace velarn {

ARawDataLayer* UDPLayerFactory::Create(boost::recursive_mutex& mutex) {
  return new UDPLayer(mutex, localAddress, peerAddress);
}

}  // namespace velarn

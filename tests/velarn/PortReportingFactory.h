#pragma once

#include <arpa/inet.h>

#include "velarn/UDPLayer.h"
#include "velarn/UDPLayerFactory.h"

namespace linktest {

// Keeps the layer it made, to learn the port it bound (port 0 asks for any).
class PortReportingFactory : public velarn::UDPLayerFactory {
 public:
  using UDPLayerFactory::UDPLayerFactory;
  velarn::ARawDataLayer* Create(boost::recursive_mutex& mutex) override {
    made = static_cast<velarn::UDPLayer*>(UDPLayerFactory::Create(mutex));
    return made;
  }
  uint16_t Port() const { return ntohs(made->GetBoundAddress().sin_port); }
  velarn::UDPLayer* made = nullptr;
};

}  // namespace linktest

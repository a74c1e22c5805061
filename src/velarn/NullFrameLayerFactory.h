#pragma once

#include "common/Factory.h"
#include "velarn/AFrameLayer.h"

namespace velarn {

class NullFrameLayerFactory : public common::Factory<AFrameLayer> {
 public:
  AFrameLayer* Create() override;
};

}  // namespace velarn

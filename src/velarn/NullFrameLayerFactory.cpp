#include "velarn/NullFrameLayerFactory.h"

#include "velarn/NullFrameLayer.h"

namespace velarn {

AFrameLayer* NullFrameLayerFactory::Create() { return new NullFrameLayer(); }

}  // namespace velarn

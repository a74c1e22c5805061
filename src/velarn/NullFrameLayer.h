#pragma once

#include "velarn/AFrameLayer.h"

namespace velarn {

// The framing of a datagram carrier: one datagram is one transport packet, so
// buffers pass through unchanged in both directions. It has no state.
class NullFrameLayer : public AFrameLayer {
 public:
  ~NullFrameLayer() override = default;
  void ReceiveRawData(const common::Buffer& data) override { NotifyFrame(data); }
  void Reset() override {}
  void SendFrame(const common::Buffer& frame) override { SendToRawLayer(frame); }
};

}  // namespace velarn

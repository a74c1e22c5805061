#pragma once

namespace common {
class Buffer;
}

namespace velarn {

// Upward edge of the frame layer, implemented by the transport layer: one call
// is one transport packet, valid only for the length of the call.
class IFrameReceiver {
 public:
  virtual ~IFrameReceiver() = default;
  virtual void ReceiveFrame(const common::Buffer& frame) = 0;
};

}  // namespace velarn

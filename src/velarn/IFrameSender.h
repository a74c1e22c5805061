#pragma once

namespace common {
class Buffer;
}

namespace velarn {

// Downward edge of the frame layer: one call is one transport packet.
class IFrameSender {
 public:
  virtual ~IFrameSender() = default;
  virtual void SendFrame(const common::Buffer& frame) = 0;
};

}  // namespace velarn

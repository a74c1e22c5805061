#pragma once

namespace common {
class Buffer;
}

namespace velarn {

// Upward edge of the raw layer: one call is one datagram from the unit. The
// buffer is reused by the caller after the call returns.
class IRawDataReceiver {
 public:
  virtual ~IRawDataReceiver() = default;
  virtual void ReceiveRawData(const common::Buffer& data) = 0;
};

}  // namespace velarn

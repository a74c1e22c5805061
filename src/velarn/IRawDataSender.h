#pragma once

namespace common {
class Buffer;
}

namespace velarn {

// Downward edge of the raw layer: one call is one datagram to the unit.
class IRawDataSender {
 public:
  virtual ~IRawDataSender() = default;
  virtual void SendRawData(const common::Buffer& data) = 0;
};

}  // namespace velarn

#pragma once

namespace common {
class Buffer;
}

namespace velarn {

// What the application layer asks of the transport layer.
class ITransportLayer {
 public:
  virtual ~ITransportLayer() = default;
  // Open the link actively: send connect requests until the unit answers.
  virtual void Connect() = 0;
  // Wait for the unit to open the link (the way the daemon works).
  virtual void Listen() = 0;
  // Close the link; a link that was up reports OnInterrupted.
  virtual void Disconnect() = 0;
  // Queue one payload; flags tell how long it lives (see Packet.h). The bytes
  // are copied.
  virtual void Send(unsigned flags, const common::Buffer& data) = 0;
  // Whether the queue to the unit is below its bounds. Send never refuses;
  // the callers leave out what can wait or be refused while this is false.
  virtual bool HasRoom() const { return true; }
};

}  // namespace velarn

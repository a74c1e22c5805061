#pragma once

namespace common {
class Buffer;
}

namespace velarn {

// What the transport layer reports upward. Calls come with the stack's mutex
// held; the payload is valid only for the length of the call.
class ITransportLayerEventHandler {
 public:
  virtual ~ITransportLayerEventHandler() = default;
  // newSession: false when a stored session was resumed.
  virtual void OnConnected(bool newSession) = 0;
  virtual void OnInterrupted() = 0;
  virtual void OnReceived(const common::Buffer& payload) = 0;
};

}  // namespace velarn

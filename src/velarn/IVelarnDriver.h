#pragma once

#include <string>

namespace common {
class Buffer;
}

namespace velarn {

// All that the daemon's logic calls of the unit link. In this system the unit
// opens the link: the daemon calls Listen(), which returns at once, and the
// link is up when IVelarnEventHandler::OnConnected arrives.
class IVelarnDriver {
 public:
  virtual ~IVelarnDriver() = default;

  // Opens the link from this side (available, unused by the daemon).
  virtual void Connect() = 0;
  // Makes the link ready for the unit to open it.
  virtual void Listen() = 0;
  virtual void Disconnect() = 0;
  virtual bool IsConnected() const = 0;
  // What the last connection reported; false while the link is down.
  virtual bool IsNewSession() const = 0;

  // Hands over a serialised server message. recipient may be empty; flags are
  // the packet flags of the transport: 2 waits while the link is down and
  // survives a stop, 4 survives a new session as well.
  virtual void SendMessage(const common::Buffer& message, const std::string& recipient, unsigned flags) = 0;
  virtual void RequestLogbookInfo() = 0;
  virtual void SetLogbookMode(unsigned char mode) = 0;

  // The named-parameter exchange with the unit.
  virtual void RequestParam(const std::string& name) = 0;
  virtual void SendParamResponse(const std::string& name, const common::Buffer& value) = 0;
  virtual void SendParamNotFound(const std::string& name) = 0;
  virtual void NotifyParamChanged(const std::string& name) = 0;

  // Whether the queue to the unit is below its bounds (see
  // TransportLayerImpl). While it isn't, the daemon refuses the driver's
  // actions that would send anything, instead of queueing without end.
  virtual bool HasQueueRoom() const { return true; }
};

}  // namespace velarn

#pragma once

#include <string>
#include <vector>

#include "velarn/pdu/GPSFix.h"
#include "velarn/pdu/LogbookData.h"
#include "velarn/pdu/StatusTableRow.h"

namespace common {
class Buffer;
}

namespace velarn {

// The events of the unit link as the top of the stack raises them. The same
// interface stands on both sides of the driver's event queue: the proxy that
// queues them and the driver that takes them off the queue.
class IApplicationLayerEventHandler {
 public:
  virtual ~IApplicationLayerEventHandler() = default;
  virtual void OnConnected(bool newSession) = 0;
  virtual void OnInterrupted() = 0;
  virtual void OnReceivedMessage(const common::Buffer& message, bool valid) = 0;
  // Always a complete table, in the order of the row indexes.
  virtual void OnStatusTableModified(const std::vector<StatusTableRow>& table) = 0;
  virtual void OnNewGPSFix(const GPSFix& fix, const GPSFixEx& fixEx) = 0;
  virtual void OnNewLogbookInfo(const LogbookData& logbook) = 0;
  // The unit reads a parameter of this side.
  virtual void OnZuParamRequest(const std::string& name) = 0;
  // The answers to RequestParam.
  virtual void OnVelarnParamResponse(const std::string& name, const common::Buffer& value) = 0;
  virtual void OnVelarnParamNotFound(const std::string& name) = 0;
  // A parameter of the unit changed.
  virtual void OnVelarnParamChanged(const std::string& name) = 0;
  virtual void OnNetworkRegistrationChanged(unsigned status, unsigned extra) = 0;
};

}  // namespace velarn

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

class IVelarnDriver;

// What the unit link reports to the daemon's logic. Events arrive one at a
// time, in the order the stack raised them, on one thread that holds no lock
// of the stack, so a handler may call back into the driver.
class IVelarnEventHandler {
 public:
  virtual ~IVelarnEventHandler() = default;

  virtual void OnConnected(IVelarnDriver& driver, bool newSession) = 0;
  virtual void OnInterrupted(IVelarnDriver& driver) = 0;
  // A server message carried by the unit; valid is the unit's own flag of
  // the message (its byte equal to 1).
  virtual void OnReceivedMessage(IVelarnDriver& driver, const common::Buffer& message, bool valid) = 0;
  virtual void OnStatusTableModified(IVelarnDriver& driver, const std::vector<StatusTableRow>& table) = 0;
  virtual void OnNewGPSFix(IVelarnDriver& driver, const GPSFix& fix, const GPSFixEx& fixEx) = 0;
  virtual void OnNewLogbookInfo(IVelarnDriver& driver, const LogbookData& logbook) = 0;
  virtual void OnZuParamRequest(IVelarnDriver& driver, const std::string& name) = 0;
  virtual void OnVelarnParamResponse(IVelarnDriver& driver, const std::string& name,
                                     const common::Buffer& value) = 0;
  virtual void OnVelarnParamNotFound(IVelarnDriver& driver, const std::string& name) = 0;
  virtual void OnVelarnParamChanged(IVelarnDriver& driver, const std::string& name) = 0;
  virtual void OnNetworkRegistrationChanged(IVelarnDriver& driver, unsigned status, unsigned extra) = 0;
};

}  // namespace velarn

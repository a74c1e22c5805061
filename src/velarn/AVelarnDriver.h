#pragma once

#include <boost/noncopyable.hpp>
#include <string>
#include <vector>

#include "velarn/IVelarnDriver.h"
#include "velarn/pdu/GPSFix.h"
#include "velarn/pdu/LogbookData.h"
#include "velarn/pdu/StatusTableRow.h"

namespace velarn {

class IVelarnEventHandler;

// A driver of the unit link with its one listener. The Notify... operations
// pass the driver itself along, do nothing without a listener, and swallow
// whatever the listener throws: the daemon's failures don't reach the link.
class AVelarnDriver : public IVelarnDriver, private boost::noncopyable {
 public:
  AVelarnDriver() : eventHandler(nullptr) {}
  ~AVelarnDriver() override = default;

  // Before Start; not owned.
  void SetEventHandler(IVelarnEventHandler* handler) { eventHandler = handler; }

 protected:
  void NotifyConnected(bool newSession);
  void NotifyInterrupted();
  void NotifyReceivedMessage(const common::Buffer& message, bool valid);
  void NotifyStatusTableModified(const std::vector<StatusTableRow>& table);
  void NotifyNewGPSFix(const GPSFix& fix, const GPSFixEx& fixEx);
  void NotifyNewLogbookInfo(const LogbookData& logbook);
  void NotifyZuParamRequest(const std::string& name);
  void NotifyVelarnParamResponse(const std::string& name, const common::Buffer& value);
  void NotifyVelarnParamNotFound(const std::string& name);
  void NotifyVelarnParamChanged(const std::string& name);
  void NotifyNetworkRegistrationChanged(unsigned status, unsigned extra);

 private:
  IVelarnEventHandler* eventHandler;  // not owned
};

}  // namespace velarn

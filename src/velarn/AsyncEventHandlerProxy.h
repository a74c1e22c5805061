#pragma once

#include "common/ActiveTie.h"
#include "velarn/AsyncEvents.h"
#include "velarn/IApplicationLayerEventHandler.h"

namespace velarn {

using EventTie = common::ActiveTie<IApplicationLayerEventHandler, AAsyncEvent>;

// Stands for the daemon in front of the stack: every event becomes an event
// object with copies of its arguments, posted to the driver's queue, and the
// call returns at once. The queue's one thread then executes them in order,
// holding no lock of the stack, so the stack's mutex and the daemon's lock
// are never taken in both orders.
class AsyncEventHandlerProxy : public common::ActiveProxy<EventTie, AAsyncEvent>,
                               public IApplicationLayerEventHandler {
 public:
  explicit AsyncEventHandlerProxy(EventTie& tie) : common::ActiveProxy<EventTie, AAsyncEvent>(tie) {}
  ~AsyncEventHandlerProxy() override = default;

  void OnConnected(bool newSession) override;
  void OnInterrupted() override;
  void OnReceivedMessage(const common::Buffer& message, bool valid) override;
  void OnStatusTableModified(const std::vector<StatusTableRow>& table) override;
  void OnNewGPSFix(const GPSFix& fix, const GPSFixEx& fixEx) override;
  void OnNewLogbookInfo(const LogbookData& logbook) override;
  void OnZuParamRequest(const std::string& name) override;
  void OnVelarnParamResponse(const std::string& name, const common::Buffer& value) override;
  void OnVelarnParamNotFound(const std::string& name) override;
  void OnVelarnParamChanged(const std::string& name) override;
  void OnNetworkRegistrationChanged(unsigned status, unsigned extra) override;
};

}  // namespace velarn

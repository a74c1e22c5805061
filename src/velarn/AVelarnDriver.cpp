#include "velarn/AVelarnDriver.h"

#include "velarn/IVelarnEventHandler.h"

namespace velarn {

namespace {

// The call goes to the listener, if any, and nothing it throws comes back.
template <class Call>
void Deliver(IVelarnEventHandler* handler, const Call& call) {
  if (handler == nullptr) {
    return;
  }
  try {
    call(*handler);
  } catch (...) {
  }
}

}  // namespace

void AVelarnDriver::NotifyConnected(bool newSession) {
  Deliver(eventHandler, [&](IVelarnEventHandler& handler) { handler.OnConnected(*this, newSession); });
}

void AVelarnDriver::NotifyInterrupted() {
  Deliver(eventHandler, [&](IVelarnEventHandler& handler) { handler.OnInterrupted(*this); });
}

void AVelarnDriver::NotifyReceivedMessage(const common::Buffer& message, bool valid) {
  Deliver(eventHandler,
          [&](IVelarnEventHandler& handler) { handler.OnReceivedMessage(*this, message, valid); });
}

void AVelarnDriver::NotifyStatusTableModified(const std::vector<StatusTableRow>& table) {
  Deliver(eventHandler, [&](IVelarnEventHandler& handler) { handler.OnStatusTableModified(*this, table); });
}

void AVelarnDriver::NotifyNewGPSFix(const GPSFix& fix, const GPSFixEx& fixEx) {
  Deliver(eventHandler, [&](IVelarnEventHandler& handler) { handler.OnNewGPSFix(*this, fix, fixEx); });
}

void AVelarnDriver::NotifyNewLogbookInfo(const LogbookData& logbook) {
  Deliver(eventHandler, [&](IVelarnEventHandler& handler) { handler.OnNewLogbookInfo(*this, logbook); });
}

void AVelarnDriver::NotifyZuParamRequest(const std::string& name) {
  Deliver(eventHandler, [&](IVelarnEventHandler& handler) { handler.OnZuParamRequest(*this, name); });
}

void AVelarnDriver::NotifyVelarnParamResponse(const std::string& name, const common::Buffer& value) {
  Deliver(eventHandler,
          [&](IVelarnEventHandler& handler) { handler.OnVelarnParamResponse(*this, name, value); });
}

void AVelarnDriver::NotifyVelarnParamNotFound(const std::string& name) {
  Deliver(eventHandler, [&](IVelarnEventHandler& handler) { handler.OnVelarnParamNotFound(*this, name); });
}

void AVelarnDriver::NotifyVelarnParamChanged(const std::string& name) {
  Deliver(eventHandler, [&](IVelarnEventHandler& handler) { handler.OnVelarnParamChanged(*this, name); });
}

void AVelarnDriver::NotifyNetworkRegistrationChanged(unsigned status, unsigned extra) {
  Deliver(eventHandler,
          [&](IVelarnEventHandler& handler) { handler.OnNetworkRegistrationChanged(*this, status, extra); });
}

}  // namespace velarn

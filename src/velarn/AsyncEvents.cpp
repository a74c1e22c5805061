#include "velarn/AsyncEvents.h"

#include "velarn/IApplicationLayerEventHandler.h"

namespace velarn {

namespace {

// A copy of exactly the bytes in use: a queued event shouldn't keep the
// sender's spare capacity.
common::Buffer Copy(const common::Buffer& source) {
  common::Buffer copy(source.GetSize(), source.GetGrowthPercent());
  copy.Append(source.GetData(), source.GetSize());
  return copy;
}

}  // namespace

void ConnectedEvent::Execute(IApplicationLayerEventHandler& handler) { handler.OnConnected(newSession); }

void InterruptedEvent::Execute(IApplicationLayerEventHandler& handler) { handler.OnInterrupted(); }

ReceivedMessageEvent::ReceivedMessageEvent(const common::Buffer& message, bool valid)
    : message(Copy(message)), valid(valid) {}

void ReceivedMessageEvent::Execute(IApplicationLayerEventHandler& handler) {
  handler.OnReceivedMessage(message, valid);
}

void StatusTableModifiedEvent::Execute(IApplicationLayerEventHandler& handler) {
  handler.OnStatusTableModified(table);
}

void NewGPSFixEvent::Execute(IApplicationLayerEventHandler& handler) { handler.OnNewGPSFix(fix, fixEx); }

void NewLogbookInfoEvent::Execute(IApplicationLayerEventHandler& handler) {
  handler.OnNewLogbookInfo(logbook);
}

void ZuParamRequestEvent::Execute(IApplicationLayerEventHandler& handler) { handler.OnZuParamRequest(name); }

VelarnParamResponseEvent::VelarnParamResponseEvent(const std::string& name, const common::Buffer& value)
    : name(name), value(Copy(value)) {}

void VelarnParamResponseEvent::Execute(IApplicationLayerEventHandler& handler) {
  handler.OnVelarnParamResponse(name, value);
}

void VelarnParamNotFoundEvent::Execute(IApplicationLayerEventHandler& handler) {
  handler.OnVelarnParamNotFound(name);
}

void VelarnParamChangedEvent::Execute(IApplicationLayerEventHandler& handler) {
  handler.OnVelarnParamChanged(name);
}

void NetworkRegistrationChangedEvent::Execute(IApplicationLayerEventHandler& handler) {
  handler.OnNetworkRegistrationChanged(status, extra);
}

}  // namespace velarn

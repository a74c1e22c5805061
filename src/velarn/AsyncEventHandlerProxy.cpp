#include "velarn/AsyncEventHandlerProxy.h"

namespace velarn {

void AsyncEventHandlerProxy::OnConnected(bool newSession) { Post(new ConnectedEvent(newSession)); }

void AsyncEventHandlerProxy::OnInterrupted() { Post(new InterruptedEvent()); }

void AsyncEventHandlerProxy::OnReceivedMessage(const common::Buffer& message, bool valid) {
  Post(new ReceivedMessageEvent(message, valid));
}

void AsyncEventHandlerProxy::OnStatusTableModified(const std::vector<StatusTableRow>& table) {
  Post(new StatusTableModifiedEvent(table));
}

void AsyncEventHandlerProxy::OnNewGPSFix(const GPSFix& fix, const GPSFixEx& fixEx) {
  Post(new NewGPSFixEvent(fix, fixEx));
}

void AsyncEventHandlerProxy::OnNewLogbookInfo(const LogbookData& logbook) {
  Post(new NewLogbookInfoEvent(logbook));
}

void AsyncEventHandlerProxy::OnZuParamRequest(const std::string& name) {
  Post(new ZuParamRequestEvent(name));
}

void AsyncEventHandlerProxy::OnVelarnParamResponse(const std::string& name, const common::Buffer& value) {
  Post(new VelarnParamResponseEvent(name, value));
}

void AsyncEventHandlerProxy::OnVelarnParamNotFound(const std::string& name) {
  Post(new VelarnParamNotFoundEvent(name));
}

void AsyncEventHandlerProxy::OnVelarnParamChanged(const std::string& name) {
  Post(new VelarnParamChangedEvent(name));
}

void AsyncEventHandlerProxy::OnNetworkRegistrationChanged(unsigned status, unsigned extra) {
  Post(new NetworkRegistrationChangedEvent(status, extra));
}

}  // namespace velarn

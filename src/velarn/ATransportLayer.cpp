#include "velarn/ATransportLayer.h"

#include "velarn/IFrameSender.h"
#include "velarn/ITransportLayerEventHandler.h"

namespace velarn {

void ATransportLayer::SendToFrameLayer(const common::Buffer& frame) {
  if (frameSender == nullptr) {
    return;
  }
  try {
    frameSender->SendFrame(frame);
  } catch (...) {
    // A failed transmission is a lost packet.
  }
}

void ATransportLayer::NotifyConnected(bool newSession) {
  if (eventHandler == nullptr) {
    return;
  }
  try {
    eventHandler->OnConnected(newSession);
  } catch (...) {
  }
}

void ATransportLayer::NotifyInterrupted() {
  if (eventHandler == nullptr) {
    return;
  }
  try {
    eventHandler->OnInterrupted();
  } catch (...) {
  }
}

void ATransportLayer::NotifyReceived(const common::Buffer& payload) {
  if (eventHandler == nullptr) {
    return;
  }
  try {
    eventHandler->OnReceived(payload);
  } catch (...) {
    // The acknowledgement went out before the delivery: the packet counts
    // as received whatever the handler does with it.
  }
}

}  // namespace velarn

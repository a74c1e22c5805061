#include "velarn/AFrameLayer.h"

#include "velarn/IFrameReceiver.h"
#include "velarn/IRawDataSender.h"

namespace velarn {

void AFrameLayer::NotifyFrame(const common::Buffer& frame) {
  if (frameReceiver == nullptr) {
    return;
  }
  try {
    frameReceiver->ReceiveFrame(frame);
  } catch (...) {
    // A frame that the transport can't take is a lost frame.
  }
}

void AFrameLayer::SendToRawLayer(const common::Buffer& data) {
  if (rawDataSender == nullptr) {
    return;
  }
  try {
    rawDataSender->SendRawData(data);
  } catch (...) {
    // Lost on the way down; the transport repeats what matters.
  }
}

}  // namespace velarn

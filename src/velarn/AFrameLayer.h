#pragma once

#include "velarn/IFrameSender.h"
#include "velarn/IRawDataReceiver.h"

namespace velarn {

class IFrameReceiver;
class IRawDataSender;

// The framing between datagrams and transport packets. An implementation cuts
// raw data into frames (NotifyFrame, upward) and wraps frames into raw data
// (SendToRawLayer, downward). Neither edge lets an exception through.
class AFrameLayer : public IRawDataReceiver, public IFrameSender {
 public:
  AFrameLayer() : rawDataSender(nullptr), frameReceiver(nullptr) {}
  ~AFrameLayer() override = default;
  AFrameLayer(const AFrameLayer&) = delete;
  AFrameLayer& operator=(const AFrameLayer&) = delete;

  // Forgets any partial framing state; called by the driver at the end of
  // its stop sequence, after the layers above have stopped.
  virtual void Reset() = 0;

  // Wiring, before the driver starts.
  void SetRawDataSender(IRawDataSender* sender) { rawDataSender = sender; }
  void SetFrameReceiver(IFrameReceiver* receiver) { frameReceiver = receiver; }

 protected:
  void NotifyFrame(const common::Buffer& frame);
  void SendToRawLayer(const common::Buffer& data);

 private:
  IRawDataSender* rawDataSender;  // not owned
  IFrameReceiver* frameReceiver;  // not owned
};

}  // namespace velarn

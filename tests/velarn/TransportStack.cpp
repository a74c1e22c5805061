#include "velarn/TransportStack.h"

#include "common/Buffer.h"

namespace linktest {

common::Buffer ToBuffer(const Bytes& bytes) {
  common::Buffer buffer(static_cast<unsigned>(bytes.size()), 200);
  buffer.Append(bytes.data(), static_cast<unsigned>(bytes.size()));
  return buffer;
}

Bytes ToBytes(const common::Buffer& buffer) {
  return Bytes(buffer.GetData(), buffer.GetData() + buffer.GetSize());
}

TransportStack::TransportStack(const sockaddr_in& peer, velarn::TransportLayerImpl::Side side,
                               const sockaddr_in& local)
    : timers(mutex, 10),
      raw(new velarn::UDPLayer(mutex, local, peer)),
      transport(new velarn::TransportLayerImpl(timers, side)) {
  raw->SetRawDataReceiver(&frameLayer);
  frameLayer.SetRawDataSender(raw.get());
  frameLayer.SetFrameReceiver(transport.get());
  transport->SetFrameSender(&frameLayer);
  transport->SetEventHandler(&events);
}

TransportStack::~TransportStack() {
  if (started) {
    Stop();
  }
}

void TransportStack::Start() {
  raw->Start();
  timers.Start();
  started = true;
}

void TransportStack::Stop() {
  started = false;
  timers.Stop();
  raw->Stop();
  Locked()->Stop();
}

std::unique_ptr<velarn::TransportLayerContext> TransportStack::Context() {
  return std::unique_ptr<velarn::TransportLayerContext>(
      dynamic_cast<velarn::TransportLayerContext*>(Locked()->GetContext()));
}

}  // namespace linktest

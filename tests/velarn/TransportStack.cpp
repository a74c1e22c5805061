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

void RecordingTransportHandler::OnConnected(bool newSession) {
  TransportEvent event(TransportEvent::Connected);
  event.newSession = newSession;
  Add(event);
}

void RecordingTransportHandler::OnInterrupted() { Add(TransportEvent(TransportEvent::Interrupted)); }

void RecordingTransportHandler::OnReceived(const common::Buffer& payload) {
  TransportEvent event(TransportEvent::Received);
  event.payload = ToBytes(payload);
  Add(event);
}

void RecordingTransportHandler::Add(TransportEvent event) {
  event.atUs = NowUs();
  std::lock_guard<std::mutex> lock(mutex);
  events.push_back(event);
  changed.notify_all();
}

std::vector<TransportEvent> RecordingTransportHandler::Events() {
  std::lock_guard<std::mutex> lock(mutex);
  return events;
}

size_t RecordingTransportHandler::Count(TransportEvent::Kind kind) {
  std::lock_guard<std::mutex> lock(mutex);
  size_t count = 0;
  for (const TransportEvent& event : events) {
    count += event.kind == kind ? 1 : 0;
  }
  return count;
}

bool RecordingTransportHandler::WaitFor(TransportEvent::Kind kind, size_t count,
                                        std::chrono::milliseconds timeout) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  std::unique_lock<std::mutex> lock(mutex);
  for (;;) {
    size_t seen = 0;
    for (const TransportEvent& event : events) {
      seen += event.kind == kind ? 1 : 0;
    }
    if (seen >= count) {
      return true;
    }
    if (changed.wait_until(lock, deadline) == std::cv_status::timeout) {
      return false;
    }
  }
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
  transport->SetEventHandler(&handler);
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
  boost::recursive_mutex::scoped_lock lock(mutex);
  transport->Stop();
}

void TransportStack::Listen() {
  boost::recursive_mutex::scoped_lock lock(mutex);
  transport->Listen();
}

void TransportStack::Connect() {
  boost::recursive_mutex::scoped_lock lock(mutex);
  transport->Connect();
}

void TransportStack::Disconnect() {
  boost::recursive_mutex::scoped_lock lock(mutex);
  transport->Disconnect();
}

void TransportStack::Send(unsigned flags, const Bytes& payload) {
  boost::recursive_mutex::scoped_lock lock(mutex);
  transport->Send(flags, ToBuffer(payload));
}

std::string TransportStack::StateName() {
  boost::recursive_mutex::scoped_lock lock(mutex);
  return transport->GetStateName();
}

std::unique_ptr<velarn::TransportLayerContext> TransportStack::Context() {
  boost::recursive_mutex::scoped_lock lock(mutex);
  return std::unique_ptr<velarn::TransportLayerContext>(
      dynamic_cast<velarn::TransportLayerContext*>(transport->GetContext()));
}

void TransportStack::SetContext(const velarn::TransportLayerContext& context) {
  boost::recursive_mutex::scoped_lock lock(mutex);
  velarn::TransportLayerContext copy(context);
  transport->SetContext(&copy);
}

}  // namespace linktest

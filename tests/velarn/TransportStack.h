#pragma once

#include <netinet/in.h>

#include <boost/thread/recursive_mutex.hpp>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "common/TimerMgr.h"
#include "velarn/ITransportLayerEventHandler.h"
#include "velarn/NullFrameLayer.h"
#include "velarn/ScriptedUnit.h"
#include "velarn/TransportLayerContext.h"
#include "velarn/TransportLayerImpl.h"
#include "velarn/UDPLayer.h"

namespace linktest {

// What a transport layer reported, stamped with the system clock.
struct TransportEvent {
  enum Kind { Connected, Interrupted, Received };
  explicit TransportEvent(Kind kind) : kind(kind) {}
  Kind kind;
  bool newSession = false;
  Bytes payload;
  int64_t atUs = 0;
};

// Records the transport layer's events (called under the stack's mutex on
// its threads) for the test thread, which waits on them with deadlines.
class RecordingTransportHandler : public velarn::ITransportLayerEventHandler {
 public:
  void OnConnected(bool newSession) override;
  void OnInterrupted() override;
  void OnReceived(const common::Buffer& payload) override;

  std::vector<TransportEvent> Events();
  size_t Count(TransportEvent::Kind kind);
  // Waits until count events of kind have come; false on time-out.
  bool WaitFor(TransportEvent::Kind kind, size_t count, std::chrono::milliseconds timeout);

 private:
  void Add(TransportEvent event);

  std::mutex mutex;
  std::condition_variable changed;
  std::vector<TransportEvent> events;
};

// The lower half of the driver without the driver: a UDP layer on
// 127.0.0.1 (any port), a null frame layer and a transport layer, with a timer
// manager of a 10 ms tick so that timer checks see the transport's own
// intervals rather than the driver's 200 ms polling. Every call into the
// layer takes the stack's mutex, as the driver does.
class TransportStack {
 public:
  explicit TransportStack(const sockaddr_in& peer,
                          velarn::TransportLayerImpl::Side side = velarn::TransportLayerImpl::Side::Device,
                          const sockaddr_in& local = Loopback());
  ~TransportStack();

  // Starts the timer thread and the receive thread.
  void Start();
  // Stops the threads, then the layer (no event), as the driver does.
  void Stop();
  sockaddr_in Address() const { return raw->GetBoundAddress(); }

  void Listen();
  void Connect();
  void Disconnect();
  void Send(unsigned flags, const Bytes& payload);
  std::string StateName();
  std::unique_ptr<velarn::TransportLayerContext> Context();
  void SetContext(const velarn::TransportLayerContext& context);

  RecordingTransportHandler handler;

 private:
  boost::recursive_mutex mutex;
  common::TimerMgr timers;
  std::unique_ptr<velarn::UDPLayer> raw;
  velarn::NullFrameLayer frameLayer;
  std::unique_ptr<velarn::TransportLayerImpl> transport;
  bool started = false;
};

common::Buffer ToBuffer(const Bytes& bytes);
Bytes ToBytes(const common::Buffer& buffer);

}  // namespace linktest

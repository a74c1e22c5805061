#pragma once

#include <netinet/in.h>

#include <boost/thread/recursive_mutex.hpp>
#include <memory>
#include <string>

#include "common/TimerMgr.h"
#include "velarn/LinkLog.h"
#include "velarn/NullFrameLayer.h"
#include "velarn/ScriptedUnit.h"
#include "velarn/TransportLayerContext.h"
#include "velarn/TransportLayerImpl.h"
#include "velarn/UDPLayer.h"

namespace linktest {

common::Buffer ToBuffer(const Bytes& bytes);
Bytes ToBytes(const common::Buffer& buffer);

// The lower half of the driver without the driver: a UDP layer on
// 127.0.0.1 (any port), a null frame layer and a transport layer, with a timer
// manager of a 10 ms tick so that timer checks see the transport's own
// intervals rather than the driver's 200 ms polling. Calls into the layer
// take the stack's mutex, as the driver does; its events go to log.
class TransportStack {
 public:
  explicit TransportStack(const sockaddr_in& peer,
                          velarn::TransportLayerImpl::Side side = velarn::TransportLayerImpl::Side::Device,
                          const sockaddr_in& local = Loopback());
  ~TransportStack();

  void Start();  // the timer and receive threads
  void Stop();   // the threads, then the layer (no event), as the driver does
  sockaddr_in Address() const { return raw->GetBoundAddress(); }

  void Listen() { Locked()->Listen(); }
  void Connect() { Locked()->Connect(); }
  void Disconnect() { Locked()->Disconnect(); }
  void Send(unsigned flags, const Bytes& payload) { Locked()->Send(flags, ToBuffer(payload)); }
  std::string StateName() { return Locked()->GetStateName(); }
  bool HasRoom() { return Locked()->HasRoom(); }
  std::unique_ptr<velarn::TransportLayerContext> Context();
  void SetContext(velarn::TransportLayerContext context) { Locked()->SetContext(&context); }

  Log log;

 private:
  // The layer, with the stack's mutex held as long as the result lives.
  struct Access {
    boost::recursive_mutex::scoped_lock lock;
    velarn::TransportLayerImpl* layer;
    velarn::TransportLayerImpl* operator->() const { return layer; }
  };
  Access Locked() { return Access{boost::recursive_mutex::scoped_lock(mutex), transport.get()}; }

  boost::recursive_mutex mutex;
  common::TimerMgr timers;
  std::unique_ptr<velarn::UDPLayer> raw;
  velarn::NullFrameLayer frameLayer;
  std::unique_ptr<velarn::TransportLayerImpl> transport;
  TransportEventLog events{log};
  bool started = false;
};

}  // namespace linktest

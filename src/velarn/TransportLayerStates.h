#pragma once

// The states of TransportLayerImpl; only its own sources include this.

#include <boost/thread/mutex.hpp>

#include "common/Random.h"
#include "common/Singleton.h"
#include "velarn/TransportLayerImpl.h"

namespace velarn {

// Every operation receives the layer it acts on; in this base each does
// nothing but Stop, which is the same for all states. The states hold no
// per-layer data and are shared by all layers of the process.
class TransportLayerImpl::ATransportLayerState {
 public:
  virtual ~ATransportLayerState() = default;
  virtual const char* Name() const = 0;

  virtual void OnEnter(TransportLayerImpl&) {}
  virtual void OnExit(TransportLayerImpl&) {}
  // Stops the timers, drops the packets that live only inside a link and
  // sets the closed state directly, without exit or entry actions.
  virtual void Stop(TransportLayerImpl& layer);
  virtual void Connect(TransportLayerImpl&) {}
  virtual void Listen(TransportLayerImpl&) {}
  virtual void Disconnect(TransportLayerImpl&) {}
  virtual void Send(TransportLayerImpl&, unsigned /*flags*/, const common::Buffer& /*data*/) {}
  virtual void OnConnectRequest(TransportLayerImpl&, unsigned /*version*/, unsigned /*session*/) {}
  virtual void OnConnectResponse(TransportLayerImpl&, unsigned /*version*/, unsigned /*session*/) {}
  virtual void OnData(TransportLayerImpl&, unsigned char /*sequence*/, const common::Buffer& /*payload*/) {}
  virtual void OnAck(TransportLayerImpl&, unsigned char /*sequence*/) {}
  virtual void OnKeepAlive(TransportLayerImpl&) {}
  // A reset from the peer has no effect in any state.
  virtual void OnReset(TransportLayerImpl&, unsigned /*version*/) {}
  virtual void OnRetransmitTimer(TransportLayerImpl&, common::Timer&) {}
  virtual void OnConnectTimer(TransportLayerImpl&, common::Timer&) {}
  virtual void OnKeepAliveTimer(TransportLayerImpl&, common::Timer&) {}
  virtual void OnLinkTimer(TransportLayerImpl&, common::Timer&) {}

 protected:
  // While the link is down only packets meant to wait for it are queued.
  static void QueueIfLasting(TransportLayerImpl& layer, unsigned flags, const common::Buffer& data);
};

class TransportLayerImpl::ClosedState : public ATransportLayerState,
                                        public common::Singleton<ClosedState, common::NullMutex> {
 public:
  const char* Name() const override { return "closed"; }
  void Connect(TransportLayerImpl& layer) override;
  void Listen(TransportLayerImpl& layer) override;
  void Send(TransportLayerImpl& layer, unsigned flags, const common::Buffer& data) override;
  void OnConnectRequest(TransportLayerImpl& layer, unsigned version, unsigned session) override;
};

class TransportLayerImpl::ConnectingState : public ATransportLayerState,
                                            public common::Singleton<ConnectingState, common::NullMutex> {
 public:
  const char* Name() const override { return "connecting"; }
  void OnEnter(TransportLayerImpl& layer) override;
  void OnExit(TransportLayerImpl& layer) override;
  void Disconnect(TransportLayerImpl& layer) override;
  void Send(TransportLayerImpl& layer, unsigned flags, const common::Buffer& data) override;
  void OnConnectRequest(TransportLayerImpl& layer, unsigned version, unsigned session) override;
  void OnConnectResponse(TransportLayerImpl& layer, unsigned version, unsigned session) override;
  void OnConnectTimer(TransportLayerImpl& layer, common::Timer& timer) override;
};

class TransportLayerImpl::ListeningState : public ATransportLayerState,
                                           public common::Singleton<ListeningState, common::NullMutex> {
 public:
  const char* Name() const override { return "listening"; }
  void OnEnter(TransportLayerImpl& layer) override;
  void Disconnect(TransportLayerImpl& layer) override;
  void Send(TransportLayerImpl& layer, unsigned flags, const common::Buffer& data) override;
  void OnConnectRequest(TransportLayerImpl& layer, unsigned version, unsigned session) override;

 private:
  // Never 0, never the present session, never the peer's.
  uint16_t NewSessionNumber(uint16_t present, uint16_t peers);

  // Seeded once from the clock. It is the one thing the layers of a process
  // share that changes, so it is drawn under a lock of its own: two stacks
  // don't share the stack's mutex.
  boost::mutex randomMutex;
  common::Random random;
};

class TransportLayerImpl::ConnectedState : public ATransportLayerState,
                                           public common::Singleton<ConnectedState, common::NullMutex> {
 public:
  const char* Name() const override { return "connected"; }
  void OnEnter(TransportLayerImpl& layer) override;
  void OnExit(TransportLayerImpl& layer) override;
  void Disconnect(TransportLayerImpl& layer) override;
  void Send(TransportLayerImpl& layer, unsigned flags, const common::Buffer& data) override;
  void OnConnectRequest(TransportLayerImpl& layer, unsigned version, unsigned session) override;
  void OnData(TransportLayerImpl& layer, unsigned char sequence, const common::Buffer& payload) override;
  void OnAck(TransportLayerImpl& layer, unsigned char sequence) override;
  void OnKeepAlive(TransportLayerImpl& layer) override;
  void OnRetransmitTimer(TransportLayerImpl& layer, common::Timer& timer) override;
  void OnKeepAliveTimer(TransportLayerImpl& layer, common::Timer& timer) override;
  void OnLinkTimer(TransportLayerImpl& layer, common::Timer& timer) override;

 private:
  // Where a lost link falls back to: the way it came up.
  static ATransportLayerState& FallBack(TransportLayerImpl& layer);
};

}  // namespace velarn

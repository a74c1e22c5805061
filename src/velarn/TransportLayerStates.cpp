#include "velarn/TransportLayerStates.h"

#include "velarn/TransportFrame.h"

namespace velarn {

// --- all states

void TransportLayerImpl::ATransportLayerState::Stop(TransportLayerImpl& layer) {
  layer.retransmitTimer.Stop();
  layer.connectTimer.Stop();
  layer.keepAliveTimer.Stop();
  layer.linkTimer.Stop();
  layer.DropPackets(Packet::kLinkOnly);
  layer.state = &ClosedState::Instance();
}

void TransportLayerImpl::ATransportLayerState::QueueIfLasting(TransportLayerImpl& layer, unsigned flags,
                                                              const common::Buffer& data) {
  if ((flags & (Packet::kKeepForSession | Packet::kKeepAlways)) != 0) {
    layer.Queue(flags, data);
  }
}

// --- closed

void TransportLayerImpl::ClosedState::Connect(TransportLayerImpl& layer) {
  layer.retryCount = 0;
  layer.ChangeState(ConnectingState::Instance());
}

void TransportLayerImpl::ClosedState::Listen(TransportLayerImpl& layer) {
  layer.retryCount = 0;
  layer.ChangeState(ListeningState::Instance());
}

void TransportLayerImpl::ClosedState::Send(TransportLayerImpl& layer, unsigned flags,
                                           const common::Buffer& data) {
  QueueIfLasting(layer, flags, data);
}

void TransportLayerImpl::ClosedState::OnConnectRequest(TransportLayerImpl& layer, unsigned, unsigned) {
  layer.SendReset();
}

// --- connecting

void TransportLayerImpl::ConnectingState::OnEnter(TransportLayerImpl& layer) {
  layer.SendConnect(frame::kConnectRequest);
  layer.connectTimer.Start();
  layer.passiveOpen = false;
}

void TransportLayerImpl::ConnectingState::OnExit(TransportLayerImpl& layer) { layer.connectTimer.Stop(); }

void TransportLayerImpl::ConnectingState::Disconnect(TransportLayerImpl& layer) {
  layer.ChangeState(ClosedState::Instance());
}

void TransportLayerImpl::ConnectingState::Send(TransportLayerImpl& layer, unsigned flags,
                                               const common::Buffer& data) {
  QueueIfLasting(layer, flags, data);
}

void TransportLayerImpl::ConnectingState::OnConnectRequest(TransportLayerImpl& layer, unsigned, unsigned) {
  layer.SendReset();
}

void TransportLayerImpl::ConnectingState::OnConnectResponse(TransportLayerImpl& layer, unsigned /*version*/,
                                                            unsigned session) {
  if (session == layer.sessionId) {
    layer.newSession = false;
  } else {
    layer.NewSession(static_cast<uint16_t>(session));
  }
  layer.ChangeState(ConnectedState::Instance());
}

void TransportLayerImpl::ConnectingState::OnConnectTimer(TransportLayerImpl& layer, common::Timer& timer) {
  layer.SendConnect(frame::kConnectRequest);
  timer.Start();
}

// --- listening

void TransportLayerImpl::ListeningState::OnEnter(TransportLayerImpl& layer) { layer.passiveOpen = true; }

void TransportLayerImpl::ListeningState::Disconnect(TransportLayerImpl& layer) {
  layer.ChangeState(ClosedState::Instance());
}

void TransportLayerImpl::ListeningState::Send(TransportLayerImpl& layer, unsigned flags,
                                              const common::Buffer& data) {
  QueueIfLasting(layer, flags, data);
}

void TransportLayerImpl::ListeningState::OnConnectRequest(TransportLayerImpl& layer, unsigned version,
                                                          unsigned session) {
  if (((version >> 8) & 0xFF) != frame::kSupportedMajorVersion) {
    layer.SendReset();
    return;
  }
  if (session != 0 && session == layer.sessionId) {
    layer.newSession = false;
  } else {
    layer.NewSession(NewSessionNumber(layer.sessionId, static_cast<uint16_t>(session)));
  }
  layer.SendConnect(frame::kConnectResponse);
  layer.ChangeState(ConnectedState::Instance());
}

uint16_t TransportLayerImpl::ListeningState::NewSessionNumber(uint16_t present, uint16_t peers) {
  boost::mutex::scoped_lock lock(randomMutex);
  uint16_t number = 0;
  do {
    number = static_cast<uint16_t>(random.Next() & 0xFFFF);
  } while (number == 0 || number == present || number == peers);
  return number;
}

// --- connected

TransportLayerImpl::ATransportLayerState& TransportLayerImpl::ConnectedState::FallBack(
    TransportLayerImpl& layer) {
  if (layer.passiveOpen) {
    return ListeningState::Instance();
  }
  return ConnectingState::Instance();
}

void TransportLayerImpl::ConnectedState::OnEnter(TransportLayerImpl& layer) {
  // A waiting head goes out only at the retransmission time, not at once.
  if (!layer.queue.empty()) {
    layer.retransmitTimer.Start();
  }
  layer.keepAliveTimer.Start();
  layer.linkTimer.Start();
  layer.NotifyConnected(layer.newSession);
}

void TransportLayerImpl::ConnectedState::OnExit(TransportLayerImpl& layer) {
  layer.linkTimer.Stop();
  layer.retransmitTimer.Stop();
  layer.keepAliveTimer.Stop();
  layer.DropPackets(Packet::kLinkOnly);
  layer.NotifyInterrupted();
}

void TransportLayerImpl::ConnectedState::Disconnect(TransportLayerImpl& layer) {
  layer.ChangeState(ClosedState::Instance());
}

void TransportLayerImpl::ConnectedState::Send(TransportLayerImpl& layer, unsigned flags,
                                              const common::Buffer& data) {
  const bool wasIdle = layer.queue.empty();
  layer.Queue(flags, data);
  if (wasIdle) {
    layer.SendHead();
  }
}

void TransportLayerImpl::ConnectedState::OnConnectRequest(TransportLayerImpl& layer, unsigned, unsigned) {
  // The peer lost our response or restarted: refuse, and take its next
  // request afresh.
  layer.SendReset();
  layer.ChangeState(FallBack(layer));
}

void TransportLayerImpl::ConnectedState::OnData(TransportLayerImpl& layer, unsigned char sequence,
                                                const common::Buffer& payload) {
  layer.linkTimer.Start();
  if (sequence != layer.rxSequence && !layer.TakesData()) {
    // No room for what this data would make us send: leave it
    // unacknowledged, the peer repeats it until there is room. Taking it
    // now would mean queueing its replies beyond the bounds or losing them.
    return;
  }
  layer.SendAck(sequence);
  layer.keepAliveTimer.Start();
  // Any other number counts as new; the same one is the peer repeating a
  // packet whose acknowledgement it missed.
  if (sequence != layer.rxSequence) {
    layer.rxSequence = sequence;
    layer.NotifyReceived(payload);
  }
}

void TransportLayerImpl::ConnectedState::OnAck(TransportLayerImpl& layer, unsigned char sequence) {
  layer.linkTimer.Start();
  if (!layer.queue.empty() && sequence == layer.txSequence) {
    layer.PopHead();
    layer.retryCount = 0;
    ++layer.txSequence;
    layer.SendHead();
  }
}

void TransportLayerImpl::ConnectedState::OnKeepAlive(TransportLayerImpl& layer) { layer.linkTimer.Start(); }

void TransportLayerImpl::ConnectedState::OnRetransmitTimer(TransportLayerImpl& layer, common::Timer&) {
  layer.SendHead();
}

void TransportLayerImpl::ConnectedState::OnKeepAliveTimer(TransportLayerImpl& layer, common::Timer& timer) {
  layer.SendKeepAlive();
  timer.Start();
}

void TransportLayerImpl::ConnectedState::OnLinkTimer(TransportLayerImpl& layer, common::Timer&) {
  layer.ChangeState(FallBack(layer));
}

}  // namespace velarn

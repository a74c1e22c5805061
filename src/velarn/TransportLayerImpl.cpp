#include "velarn/TransportLayerImpl.h"

#include <boost/bind/bind.hpp>
#include <stdexcept>

#include "velarn/TransportFrame.h"
#include "velarn/TransportLayerContext.h"
#include "velarn/TransportLayerStates.h"

namespace velarn {

namespace {

const uint64_t kRetransmitMs = 500;
const uint64_t kConnectMs = 1000;
const uint64_t kKeepAliveMs = 1100;
const uint64_t kLinkMs = 2500;
// A packet is sent this many times at most, then given up.
const uint32_t kMaxTransmissions = 32;

}  // namespace

using boost::placeholders::_1;

TransportLayerImpl::TransportLayerImpl(common::TimerMgr& timerMgr, Side side)
    : state(&ClosedState::Instance()),
      sessionId(0),
      txSequence(0),
      rxSequence(0),
      passiveOpen(false),
      newSession(false),
      retryCount(0),
      queuedBytes(0),
      retransmitTimer(boost::bind(&TransportLayerImpl::OnRetransmitTimer, this, _1), timerMgr, kRetransmitMs),
      connectTimer(boost::bind(&TransportLayerImpl::OnConnectTimer, this, _1), timerMgr, kConnectMs),
      keepAliveTimer(boost::bind(&TransportLayerImpl::OnKeepAliveTimer, this, _1), timerMgr, kKeepAliveMs),
      linkTimer(boost::bind(&TransportLayerImpl::OnLinkTimer, this, _1), timerMgr, kLinkMs),
      rxBuffer(2048, 200),
      txBuffer(2048, 200),
      ownDirection(side == Side::Device ? frame::kFromDevice : frame::kFromUnit),
      peerDirection(side == Side::Device ? frame::kFromUnit : frame::kFromDevice) {
  // The shared states come to life here, on the constructing thread, rather
  // than at the first event on whichever thread that runs.
  ConnectingState::Instance();
  ListeningState::Instance();
  ConnectedState::Instance();
}

TransportLayerImpl::~TransportLayerImpl() = default;

void TransportLayerImpl::ReceiveFrame(const common::Buffer& received) {
  frame::Decoded packet{};
  if (!frame::Decode(received, peerDirection, packet)) {
    return;
  }
  switch (packet.type) {
    case frame::kConnectRequest:
      state->OnConnectRequest(*this, packet.version, packet.session);
      break;
    case frame::kConnectResponse:
      state->OnConnectResponse(*this, packet.version, packet.session);
      break;
    case frame::kData:
      rxBuffer.Clear();
      rxBuffer.Append(packet.payload, packet.payloadSize);
      state->OnData(*this, packet.sequence, rxBuffer);
      break;
    case frame::kAck:
      state->OnAck(*this, packet.sequence);
      break;
    case frame::kKeepAlive:
      state->OnKeepAlive(*this);
      break;
    case frame::kReset:
      state->OnReset(*this, packet.version);
      break;
  }
}

void TransportLayerImpl::SetContext(ATransportLayerContext* context) {
  const TransportLayerContext* stored = dynamic_cast<const TransportLayerContext*>(context);
  if (stored == nullptr) {
    throw std::invalid_argument("context must be a TranportLayerContext");
  }
  sessionId = stored->sessionId;
  txSequence = stored->txSequence;
  rxSequence = stored->rxSequence;
  retryCount = stored->retryCount;
  queue.assign(stored->packets.begin(), stored->packets.end());
  // A stored queue beyond the bounds is kept whole; it drains first.
  CountQueuedBytes();
}

ATransportLayerContext* TransportLayerImpl::GetContext() {
  TransportLayerContext* context = new TransportLayerContext();
  context->sessionId = sessionId;
  context->txSequence = txSequence;
  context->rxSequence = rxSequence;
  context->retryCount = retryCount;
  context->packets.assign(queue.begin(), queue.end());
  return context;
}

void TransportLayerImpl::Stop() { state->Stop(*this); }
void TransportLayerImpl::Connect() { state->Connect(*this); }
void TransportLayerImpl::Listen() { state->Listen(*this); }
void TransportLayerImpl::Disconnect() { state->Disconnect(*this); }
void TransportLayerImpl::Send(unsigned flags, const common::Buffer& data) { state->Send(*this, flags, data); }

const char* TransportLayerImpl::GetStateName() const { return state->Name(); }

void TransportLayerImpl::ChangeState(ATransportLayerState& next) {
  state->OnExit(*this);
  state = &next;
  state->OnEnter(*this);
}

void TransportLayerImpl::DropPackets(unsigned mask) {
  if (queue.empty()) {
    return;
  }
  if ((queue.front().flags & mask) != 0) {
    ++txSequence;
    retryCount = 0;
  }
  queue.remove_if([mask](const Packet& packet) { return (packet.flags & mask) != 0; });
  CountQueuedBytes();
}

void TransportLayerImpl::SendHead() {
  if (queue.empty()) {
    return;
  }
  if (retryCount >= kMaxTransmissions) {
    // Given up without a report; the next packet gets the next number.
    PopHead();
    retryCount = 0;
    ++txSequence;
    if (queue.empty()) {
      return;
    }
  }
  ++retryCount;
  frame::WriteData(txBuffer, ownDirection, txSequence, queue.front().data);
  SendToFrameLayer(txBuffer);
  keepAliveTimer.Start();
  retransmitTimer.Start();
}

void TransportLayerImpl::NewSession(uint16_t id) {
  sessionId = id;
  retryCount = 0;
  txSequence = 1;
  rxSequence = 0;
  // May move txSequence on to 2 when the head goes: the peer takes any number.
  DropPackets(Packet::kLinkOnly | Packet::kKeepForSession);
  newSession = true;
}

void TransportLayerImpl::Queue(unsigned flags, const common::Buffer& data) {
  queue.emplace_back(flags, data);
  queuedBytes += data.GetSize();
}

void TransportLayerImpl::PopHead() {
  queuedBytes -= queue.front().data.GetSize();
  queue.pop_front();
}

void TransportLayerImpl::CountQueuedBytes() {
  queuedBytes = 0;
  for (const Packet& packet : queue) {
    queuedBytes += packet.data.GetSize();
  }
}

bool TransportLayerImpl::HasRoom() const { return queue.size() < kRoomPackets && queuedBytes < kRoomBytes; }

bool TransportLayerImpl::TakesData() const {
  if (peerDirection != frame::kFromUnit) {
    return true;  // the unit's side: no bound, see the header
  }
  return HasRoom() && (!receiveGate || receiveGate());
}

void TransportLayerImpl::SendConnect(uint8_t type) {
  frame::WriteConnect(txBuffer, ownDirection, static_cast<frame::Type>(type), frame::kProtocolVersion,
                      sessionId);
  SendToFrameLayer(txBuffer);
}

void TransportLayerImpl::SendAck(uint8_t sequence) {
  frame::WriteAck(txBuffer, ownDirection, sequence);
  SendToFrameLayer(txBuffer);
}

void TransportLayerImpl::SendKeepAlive() {
  frame::WriteKeepAlive(txBuffer, ownDirection);
  SendToFrameLayer(txBuffer);
}

void TransportLayerImpl::SendReset() {
  frame::WriteReset(txBuffer, ownDirection, frame::kProtocolVersion);
  SendToFrameLayer(txBuffer);
}

void TransportLayerImpl::OnRetransmitTimer(common::Timer& timer) { state->OnRetransmitTimer(*this, timer); }
void TransportLayerImpl::OnConnectTimer(common::Timer& timer) { state->OnConnectTimer(*this, timer); }
void TransportLayerImpl::OnKeepAliveTimer(common::Timer& timer) { state->OnKeepAliveTimer(*this, timer); }
void TransportLayerImpl::OnLinkTimer(common::Timer& timer) { state->OnLinkTimer(*this, timer); }

}  // namespace velarn

#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>

#include "common/Buffer.h"
#include "common/Timer.h"
#include "velarn/ATransportLayer.h"
#include "velarn/Packet.h"

namespace common {
class TimerMgr;
}

namespace velarn {

// The session-oriented, stop-and-wait link to the unit, as a state machine
// with one shared singleton per state (closed, connecting, listening,
// connected); every event is delegated to the present state with the layer as
// argument.
//
// A session has a 16-bit number. Data packets carry an 8-bit sequence number;
// one packet is in flight at a time and repeated every 500 ms until it is
// acknowledged, at most 32 times, then given up. A keep-alive goes out after
// 1100 ms without any transmission; 2500 ms without anything from the peer
// ends the link. Connect requests are repeated every 1000 ms. See
// docs/unit-transport.md for the wire form and the transition table.
//
// The queue is bounded: HasRoom() is false from kRoomPackets packets or
// kRoomBytes payload bytes on. Send itself never drops a payload for that;
// instead, while there is no room, new data from the peer isn't acknowledged
// (the peer keeps it and repeats it until there is room again), so the
// replies that data would cause can't pile up, and the daemon refuses its
// own requests that would queue more (docs/worst-case-sizes.md). Only the
// device holds data back: the unit's transport (and the simulator that plays
// it) has no bound and takes everything, for two sides that both held back
// with full queues would wait for each other for ever.
//
// The layer has no lock: every entry runs under the stack's recursive mutex,
// which is also the one of the timer manager given here. An event handler may
// call back into Send.
class TransportLayerImpl : public ATransportLayer {
 public:
  // The party this layer plays. The daemon is the device; a unit simulator
  // can run the same machine as the unit, which sends and accepts the other
  // direction bits (it would Connect, the device Listens).
  enum class Side { Device, Unit };

  explicit TransportLayerImpl(common::TimerMgr& timerMgr, Side side = Side::Device);
  ~TransportLayerImpl() override;

  void ReceiveFrame(const common::Buffer& frame) override;
  void SetContext(ATransportLayerContext* context) override;
  ATransportLayerContext* GetContext() override;
  void Stop() override;
  void Connect() override;
  void Listen() override;
  void Disconnect() override;
  void Send(unsigned flags, const common::Buffer& data) override;

  static constexpr size_t kRoomPackets = 500;
  static constexpr size_t kRoomBytes = 128 * 1024;
  bool HasRoom() const override;
  // Asked before new data from the peer is acknowledged and delivered; false
  // holds it back like a full queue. The driver uses it to bound its queue of
  // events. Empty: always true.
  void SetReceiveGate(std::function<bool()> gate) { receiveGate = std::move(gate); }

  // "closed", "connecting", "listening" or "connected"; for tests and tools.
  const char* GetStateName() const;

 private:
  class ATransportLayerState;
  class ClosedState;
  class ConnectingState;
  class ListeningState;
  class ConnectedState;

  // OnExit of the present state, store next, OnEnter of next.
  void ChangeState(ATransportLayerState& next);
  // Removes the packets with a bit of mask; if the head is among them, the
  // sequence number moves on and its repetition count starts anew.
  void DropPackets(unsigned mask);
  // (Re)transmits the head, giving it up after 32 transmissions.
  void SendHead();
  void NewSession(uint16_t id);
  void Queue(unsigned flags, const common::Buffer& data);
  void PopHead();
  void CountQueuedBytes();
  // Room in the queue and the receive gate's consent.
  bool TakesData() const;

  void SendConnect(uint8_t type);
  void SendAck(uint8_t sequence);
  void SendKeepAlive();
  void SendReset();

  void OnRetransmitTimer(common::Timer& timer);
  void OnConnectTimer(common::Timer& timer);
  void OnKeepAliveTimer(common::Timer& timer);
  void OnLinkTimer(common::Timer& timer);

  ATransportLayerState* state;
  uint16_t sessionId;       // 0: none was ever set
  uint8_t txSequence;       // of the packet at the head of the queue
  uint8_t rxSequence;       // of the data packet last delivered upward
  bool passiveOpen;         // the link came up from listening
  bool newSession;          // the last connection began a new session
  uint32_t retryCount;      // transmissions of the head so far
  std::list<Packet> queue;  // head first; the head is the one in flight
  size_t queuedBytes;       // the payloads' sizes in queue
  std::function<bool()> receiveGate;
  common::Timer retransmitTimer;
  common::Timer connectTimer;
  common::Timer keepAliveTimer;
  common::Timer linkTimer;
  common::Buffer rxBuffer;
  common::Buffer txBuffer;
  uint8_t ownDirection;
  uint8_t peerDirection;
};

}  // namespace velarn

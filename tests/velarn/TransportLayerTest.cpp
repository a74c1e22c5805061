#include <gtest/gtest.h>

#include <algorithm>

#include "velarn/Packet.h"
#include "velarn/TransportStack.h"

using namespace std::chrono_literals;
using linktest::Bytes;
using linktest::Frame;
using linktest::Hex;
using linktest::ScriptedUnit;
using linktest::TransportStack;

namespace {

// The lower bound of a timer interval as seen on the wire. The timers count
// whole milliseconds of the system clock, so a deadline may come up to 1 ms
// early against the kernel's microsecond stamps.
const int64_t kRetransmitFloorUs = 499000;
// Upper bounds are generous on purpose: the machine may be loaded.
const int64_t kSlackUs = 1500000;

ScriptedUnit::Options KeepAlive() {
  ScriptedUnit::Options options;
  options.keepLinkAlive = true;
  return options;
}

std::function<bool(const Frame&)> DataWith(const Bytes& payload) {
  return [payload](const Frame& frame) { return frame.IsData() && frame.Payload() == payload; };
}

std::function<bool(const Frame&)> OfType(uint8_t type) {
  return [type](const Frame& frame) { return frame.IsType(type); };
}

std::vector<Frame> DataFrames(const std::vector<Frame>& frames, const Bytes& payload) {
  std::vector<Frame> result;
  std::copy_if(frames.begin(), frames.end(), std::back_inserter(result), DataWith(payload));
  return result;
}

// A started stack listening for the scripted unit.
struct Link {
  ScriptedUnit unit;
  TransportStack stack{unit.Address()};
  Link() {
    stack.Start();
    unit.SetDevice(stack.Address());
    stack.Listen();
  }
  // Connects with the given session and waits for the layer's event.
  uint16_t Connect(uint16_t session = 0, Frame* response = nullptr) {
    const size_t before = stack.log.Count("connected");
    const uint16_t result = unit.Connect(session, response);
    EXPECT_TRUE(stack.log.WaitFor("connected", before + 1, 2000));
    return result;
  }
  std::string LastEvent() { return stack.log.Lines().back(); }
};

TEST(TransportLayerTest, FirstConnectionByteForByte) {
  Link link;
  link.unit.SendRaw({0x42, 0x40, 0x00, 0x01, 0x03, 0x00, 0x00});
  Frame response;
  ASSERT_TRUE(link.unit.Receive(response, 2000ms));
  ASSERT_EQ(7u, response.bytes.size()) << Hex(response.bytes);
  EXPECT_EQ("42 81 00 01 03", Hex(Bytes(response.bytes.begin(), response.bytes.begin() + 5)));
  EXPECT_NE(0, response.Session());
  ASSERT_TRUE(link.stack.log.WaitFor("connected 1", 1, 2000));
  EXPECT_EQ("connected", link.stack.StateName());

  link.stack.Send(velarn::Packet::kLinkOnly, {0x04, 0x0B});
  link.stack.Send(velarn::Packet::kLinkOnly, {0x07, 0x02, 0x01, 0x01, 0x00, 0x01});
  Frame first;
  ASSERT_TRUE(link.unit.Receive(first, 2000ms));
  EXPECT_EQ("42 83 01 04 0B", Hex(first.bytes));
  // Stop and wait: the second packet waits for the acknowledgement.
  Frame early;
  EXPECT_FALSE(link.unit.Receive(early, 150ms)) << Hex(early.bytes);

  link.unit.SendAck(1);
  Frame second;
  ASSERT_TRUE(link.unit.Receive(second, 2000ms));
  EXPECT_EQ("42 83 02 07 02 01 01 00 01", Hex(second.bytes));
  link.unit.SendAck(2);
  link.unit.SendKeepAlive();

  // Neither the acknowledgement nor the unit's keep-alive count as a
  // transmission of this side: the keep-alive follows the last data packet.
  Frame keepAlive;
  ASSERT_TRUE(link.unit.Receive(keepAlive, 3000ms));
  EXPECT_EQ("42 85 00", Hex(keepAlive.bytes));
  EXPECT_GE(keepAlive.atUs - second.atUs, 1099000);
  EXPECT_LT(keepAlive.atUs - second.atUs, 1100000 + kSlackUs);
}

TEST(TransportLayerTest, RetransmitsEvery500MsAndGivesUpAfter32Transmissions) {
  Link link;
  link.Connect();
  const Bytes a{0x01, 0x01};
  const Bytes b{0x04, 0x02};
  link.stack.Send(velarn::Packet::kLinkOnly, a);
  link.stack.Send(velarn::Packet::kLinkOnly, b);

  // The unit keeps the link alive but never acknowledges a.
  Frame firstOfB;
  ASSERT_TRUE(link.unit.WaitFor(DataWith(b), firstOfB, 40000ms, KeepAlive()));
  const std::vector<Frame> ofA = DataFrames(link.unit.skipped, a);
  ASSERT_EQ(32u, ofA.size());
  for (size_t i = 0; i < ofA.size(); ++i) {
    EXPECT_EQ(1, ofA[i].Sequence());
    if (i > 0) {
      const int64_t interval = ofA[i].atUs - ofA[i - 1].atUs;
      EXPECT_GE(interval, kRetransmitFloorUs) << "transmission " << i + 1;
      EXPECT_LT(interval, 500000 + kSlackUs) << "transmission " << i + 1;
    }
  }
  // The next packet goes out at the next expiry, with the next number.
  EXPECT_EQ(2, firstOfB.Sequence());
  EXPECT_GE(firstOfB.atUs - ofA.back().atUs, kRetransmitFloorUs);

  // Acknowledged, the queue is empty: only keep-alives follow.
  link.unit.SendAck(2);
  for (const Frame& frame : link.unit.Collect(800ms, KeepAlive())) {
    EXPECT_FALSE(frame.IsData()) << Hex(frame.bytes);
  }
  EXPECT_EQ(0u, link.stack.Context()->packets.size());
}

TEST(TransportLayerTest, SilentPeerEndsTheLinkAndResumeKeepsLastingPackets) {
  Link link;
  const uint16_t session = link.Connect();
  ASSERT_NE(0, session);
  const Bytes x{0x01, 0x01};
  const Bytes y{0x04, 0x07, 0x01};
  const Bytes z{0x04, 0x07, 0x02};
  link.stack.Send(velarn::Packet::kLinkOnly, x);
  link.stack.Send(velarn::Packet::kKeepForSession, y);
  link.stack.Send(velarn::Packet::kKeepAlways, z);
  Frame sent;
  ASSERT_TRUE(link.unit.WaitFor(DataWith(x), sent, 2000ms));
  EXPECT_EQ(1, sent.Sequence());

  // From here on the unit is silent.
  const int64_t lastFromUnit = link.unit.LastSentUs();
  ASSERT_TRUE(link.stack.log.WaitFor("interrupted", 1, 6000));
  EXPECT_GE(link.stack.log.Starting("interrupted")[0].atUs - lastFromUnit, 2499000);
  EXPECT_EQ("listening", link.stack.StateName());

  // x lived only inside the link; dropping the head moved the number on.
  std::unique_ptr<velarn::TransportLayerContext> context = link.stack.Context();
  EXPECT_EQ(session, context->sessionId);
  EXPECT_EQ(2, context->txSequence);
  EXPECT_EQ(0u, context->retryCount);
  ASSERT_EQ(2u, context->packets.size());
  EXPECT_EQ(y, linktest::ToBytes(context->packets.front().data));
  EXPECT_EQ(2u, context->packets.front().flags);
  EXPECT_EQ(4u, context->packets.back().flags);
  // A link-only packet while the link is down is lost at once.
  link.stack.Send(velarn::Packet::kLinkOnly, {0x01, 0x01});
  EXPECT_EQ(2u, link.stack.Context()->packets.size());

  // The unit comes back with the same session: resumed, and the waiting
  // head goes out at the retransmission time, not at once.
  Frame response;
  EXPECT_EQ(session, link.Connect(session, &response));
  EXPECT_EQ("connected 0", link.LastEvent());
  ASSERT_TRUE(link.unit.WaitFor(DataWith(y), sent, 2000ms));
  EXPECT_EQ(2, sent.Sequence());
  EXPECT_GE(sent.atUs - response.atUs, kRetransmitFloorUs);
  link.unit.SendAck(2);
  ASSERT_TRUE(link.unit.WaitFor(DataWith(z), sent, 2000ms));
  EXPECT_EQ(3, sent.Sequence());
}

TEST(TransportLayerTest, RepeatedDataIsAcknowledgedButDeliveredOnce) {
  Link link;
  link.Connect();
  // A new session starts at 0, so a first packet numbered 0 is a repeat.
  link.unit.SendData(0, {0x04, 0x03});
  link.unit.SendData(5, {0x04, 0x08});
  link.unit.SendData(5, {0x04, 0x08});
  link.unit.SendData(6, {0x04, 0x06});
  // Any number other than the last one is new, even an older one.
  link.unit.SendData(5, {0x04, 0x08});
  ASSERT_TRUE(link.stack.log.WaitFor("received", 3, 2000));

  std::vector<std::string> acks;
  for (const Frame& frame : link.unit.Collect(300ms, ScriptedUnit::Options())) {
    acks.push_back(Hex(frame.bytes));
  }
  EXPECT_EQ((std::vector<std::string>{"42 84 00", "42 84 05", "42 84 05", "42 84 06", "42 84 05"}), acks);
  EXPECT_EQ((std::vector<std::string>{"connected 1", "received 04:08", "received 04:06", "received 04:08"}),
            link.stack.log.Lines());
}

TEST(TransportLayerTest, ConnectRequestWhileConnectedResetsAndFallsBack) {
  Link link;
  const uint16_t first = link.Connect();
  ASSERT_NE(0, first);

  // Even with the same session: the unit restarted or lost the response.
  link.unit.SendConnectRequest(first);
  Frame reset;
  ASSERT_TRUE(link.unit.WaitFor(OfType(6), reset, 2000ms));
  EXPECT_EQ("42 86 00 01 03", Hex(reset.bytes));
  ASSERT_TRUE(link.stack.log.WaitFor("interrupted", 1, 2000));
  EXPECT_EQ("listening", link.stack.StateName());

  // Its repetition without a session begins a new one.
  const uint16_t second = link.Connect(0);
  EXPECT_NE(0, second);
  EXPECT_NE(first, second);
  EXPECT_EQ("connected 1", link.LastEvent());

  // Disconnect while connected reports the end of the link; closed, a
  // request is refused.
  link.stack.Disconnect();
  EXPECT_EQ(2u, link.stack.log.Count("interrupted"));
  EXPECT_EQ("closed", link.stack.StateName());
  link.unit.SendConnectRequest(0);
  ASSERT_TRUE(link.unit.WaitFor(OfType(6), reset, 2000ms));

  // Listening, a version other than 3.x is refused and the layer listens on;
  // 3.x of any minor number is taken.
  link.stack.Listen();
  link.unit.SendConnectRequest(0, 0x0201);
  ASSERT_TRUE(link.unit.WaitFor(OfType(6), reset, 2000ms));
  EXPECT_EQ("listening", link.stack.StateName());
  link.unit.SendConnectRequest(0, 0x03FF);
  ASSERT_TRUE(link.unit.WaitFor(OfType(1), reset, 2000ms));
}

velarn::TransportLayerContext Stored(uint8_t txSequence, uint32_t retryCount) {
  velarn::TransportLayerContext stored;
  stored.sessionId = 0x4711;
  stored.txSequence = txSequence;
  stored.rxSequence = 9;
  stored.retryCount = retryCount;
  stored.packets.emplace_back(velarn::Packet::kKeepForSession, linktest::ToBuffer({0x0A}));
  stored.packets.emplace_back(velarn::Packet::kKeepAlways, linktest::ToBuffer({0x0B}));
  return stored;
}

TEST(TransportLayerTest, ResumedHeadContinuesItsTransmissionCount) {
  Link link;
  link.stack.SetContext(Stored(255, 30));
  EXPECT_EQ(0x4711, link.Connect(0x4711));
  EXPECT_EQ("connected 0", link.LastEvent());
  // Two transmissions were left to the head; the number wraps to 0 after it.
  Frame next;
  ASSERT_TRUE(link.unit.WaitFor(DataWith({0x0B}), next, 5000ms, KeepAlive()));
  const std::vector<Frame> head = DataFrames(link.unit.skipped, {0x0A});
  ASSERT_EQ(2u, head.size());
  EXPECT_EQ(255, head[0].Sequence());
  EXPECT_EQ(0, next.Sequence());
  // The peer's repeat of what was delivered before the restart isn't
  // delivered again.
  link.unit.SendData(9, {0x04, 0x06});
  link.unit.SendData(10, {0x04, 0x03});
  ASSERT_TRUE(link.stack.log.WaitFor("received", 1, 2000));
  link.unit.Collect(100ms, ScriptedUnit::Options());
  EXPECT_EQ("received 04:03", link.LastEvent());
  EXPECT_EQ(1u, link.stack.log.Count("received"));
}

}  // namespace

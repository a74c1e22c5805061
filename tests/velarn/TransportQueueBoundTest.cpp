// The queue to the unit is bounded by count and by bytes. A full queue drops
// nothing: it holds new data of the unit back unacknowledged (the unit
// repeats it) until the queue has drained below its bounds.
#include <gtest/gtest.h>

#include "velarn/Packet.h"
#include "velarn/TransportStack.h"

using namespace std::chrono_literals;
using linktest::Bytes;
using linktest::Frame;
using linktest::ScriptedUnit;
using linktest::TransportStack;
using velarn::TransportLayerImpl;

TEST(TransportQueueBoundTest, FullQueueHoldsNewDataBackUntilItDrains) {
  struct Case {
    const char* bound;
    size_t packets;
    size_t size;
  };
  for (const Case& c : {Case{"count", TransportLayerImpl::kRoomPackets, 3},
                        Case{"bytes", 4, TransportLayerImpl::kRoomBytes / 4}}) {
    SCOPED_TRACE(c.bound);
    ScriptedUnit unit;
    TransportStack stack(unit.Address());
    stack.Start();
    unit.SetDevice(stack.Address());
    // Waiting while the link is down, and kept by the new session below.
    for (size_t i = 1; i < c.packets; ++i) {
      stack.Send(velarn::Packet::kKeepAlways, Bytes(c.size, 0x11));
    }
    EXPECT_TRUE(stack.HasRoom());
    stack.Send(velarn::Packet::kKeepAlways, Bytes(c.size, 0x22));
    EXPECT_FALSE(stack.HasRoom());

    stack.Listen();
    ASSERT_NE(0, unit.Connect(0));
    ASSERT_TRUE(stack.log.WaitFor("connected", 1, 2000));
    unit.SendData(1, {0x04, 0x08});
    Frame head;
    ASSERT_TRUE(unit.WaitFor([](const Frame& f) { return f.IsData(); }, head, 2000ms));
    for (const Frame& frame : unit.Collect(300ms, ScriptedUnit::Options())) {
      EXPECT_FALSE(frame.IsAck()) << "data taken while the queue is full";
    }
    EXPECT_EQ(0u, stack.log.Count("received"));

    // One packet acknowledged leaves room: the unit's repeat is taken, once.
    unit.SendAck(head.Sequence());
    ASSERT_TRUE(unit.WaitFor([&](const Frame& f) { return f.IsData() && f.Sequence() != head.Sequence(); },
                             head, 2000ms));
    EXPECT_TRUE(stack.HasRoom());
    unit.SendData(1, {0x04, 0x08});
    Frame ack;
    ASSERT_TRUE(unit.WaitFor([](const Frame& f) { return f.IsAck(); }, ack, 2000ms));
    EXPECT_EQ(1, ack.Sequence());
    ASSERT_TRUE(stack.log.WaitFor("received", 1, 2000));
    EXPECT_EQ(1u, stack.log.Count("received 04:08"));
    stack.Stop();
  }
}

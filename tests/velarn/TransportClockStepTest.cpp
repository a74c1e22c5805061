// The wall clock of a vehicle jumps when it is set from GPS or the network;
// the link's timers must neither stall nor fire early when it does.
#include <gtest/gtest.h>

#include <boost/thread/recursive_mutex.hpp>

#include "common/TimerMgr.h"
#include "support/ManualClock.h"
#include "velarn/IFrameSender.h"
#include "velarn/ScriptedUnit.h"
#include "velarn/TransportStack.h"

namespace {

using linktest::Bytes;
using linktest::Hex;
using linktest::ToBuffer;
using linktest::ToBytes;

// Records what the layer sends, under the stack's mutex (the layer sends
// with it held).
struct FrameRecorder : velarn::IFrameSender {
  void SendFrame(const common::Buffer& frame) override { frames.push_back(Hex(ToBytes(frame))); }
  std::vector<std::string> frames;
};

TEST(TransportClockStepTest, WallClockStepsNeitherStallNorHastenRetransmissionAndKeepAlive) {
  for (const int64_t step : {int64_t{3600000}, int64_t{-3600000}}) {
    SCOPED_TRACE(testing::Message() << "wall clock step " << step << " ms");
    testsupport::ManualClock clock;
    boost::recursive_mutex mutex;
    common::TimerMgr timers(mutex, 200, clock);
    velarn::TransportLayerImpl layer(timers);
    FrameRecorder sent;
    layer.SetFrameSender(&sent);
    timers.Start();
    auto deliver = [&](const Bytes& frame) {
      boost::recursive_mutex::scoped_lock lock(mutex);
      layer.ReceiveFrame(ToBuffer(frame));
    };
    // What the layer sent since the last call.
    auto news = [&] {
      boost::recursive_mutex::scoped_lock lock(mutex);
      std::vector<std::string> result;
      result.swap(sent.frames);
      return result;
    };

    {
      boost::recursive_mutex::scoped_lock lock(mutex);
      layer.Listen();
    }
    deliver({0x42, 0x40, 0x00, 0x01, 0x03, 0x00, 0x00});
    ASSERT_EQ(1u, news().size());  // the connect response
    {
      boost::recursive_mutex::scoped_lock lock(mutex);
      layer.Send(1, ToBuffer({0x04, 0x0B}));
    }
    ASSERT_EQ(std::vector<std::string>{"42 83 01 04 0B"}, news());

    // In the middle of a retransmission period.
    clock.Advance(200);
    clock.StepWall(step);
    clock.Advance(299);
    EXPECT_TRUE(news().empty());
    clock.Advance(1);
    EXPECT_EQ(std::vector<std::string>{"42 83 01 04 0B"}, news());

    // In the middle of a keep-alive period: the acknowledgement ends the
    // repetitions, the keep-alive follows 1100 ms after the last transmission.
    deliver({0x42, 0x44, 0x01});
    clock.Advance(600);
    clock.StepWall(-step);
    clock.Advance(499);
    EXPECT_TRUE(news().empty());
    clock.Advance(1);
    EXPECT_EQ(std::vector<std::string>{"42 85 00"}, news());
    timers.Stop();
  }
}

}  // namespace

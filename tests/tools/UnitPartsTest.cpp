// The unit simulator's parts on their own: the wait of its output, the word
// splitting of its commands, the one-line form of server messages, the GPS
// route and the impaired link.
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <vector>

#include "common/Buffer.h"
#include "quorlan/EventOutMessages.h"
#include "quorlan/Message.h"
#include "quorlan/MessageCodec.h"
#include "quorlan/OutgoingMessages.h"
#include "support/Wait.h"
#include "velarn/IFrameReceiver.h"
#include "velarn/IRawDataSender.h"
#include "velarn/TransportFrame.h"
#include "velarnctl/MsgJson.h"
#include "velarnctl/UnitLossyLink.h"
#include "velarnctl/UnitMessageText.h"
#include "velarnctl/UnitOutput.h"
#include "velarnctl/UnitRoute.h"
#include "velarnctl/UnitScript.h"

namespace {

using namespace std::chrono_literals;
using velarnctl::UnitOutput;

TEST(UnitOutputTest, WaitFindsEarlierLinesUsesUpToTheMatchAndForgetsTheOldest) {
  std::ostringstream printed;
  UnitOutput output(printed, false);
  std::atomic<bool> stop(false);
  output.Line("a 1");
  output.Line("b 2\nc 3");
  EXPECT_EQ("a 1\nb 2\nc 3\n", printed.str());

  EXPECT_EQ(UnitOutput::WaitResult::Matched, output.WaitFor(std::regex("b \\d"), 1s, stop));
  // "a 1" went with the match; "c 3" is still there, once.
  EXPECT_EQ(UnitOutput::WaitResult::TimedOut, output.WaitFor(std::regex("a"), 20ms, stop));
  EXPECT_EQ(UnitOutput::WaitResult::Matched, output.WaitFor(std::regex("^c"), 1s, stop));
  EXPECT_EQ(UnitOutput::WaitResult::TimedOut, output.WaitFor(std::regex("c"), 20ms, stop));

  // A line from another thread while waiting, then a stop request.
  std::thread late([&output] {
    std::this_thread::sleep_for(30ms);
    output.Line("late");
  });
  EXPECT_EQ(UnitOutput::WaitResult::Matched, output.WaitFor(std::regex("late"), 10s, stop));
  late.join();
  stop = true;
  const auto before = std::chrono::steady_clock::now();
  EXPECT_EQ(UnitOutput::WaitResult::Stopped, output.WaitFor(std::regex("never"), 60s, stop));
  EXPECT_LT(std::chrono::steady_clock::now() - before, 30s);

  // Time stamps lead the printed line but aren't part of what is matched.
  std::ostringstream stamped;
  UnitOutput timed(stamped, true);
  timed.Line("x");
  EXPECT_EQ('[', stamped.str()[0]);
  EXPECT_EQ("] x\n", stamped.str().substr(stamped.str().size() - 4));
  stop = false;
  EXPECT_EQ(UnitOutput::WaitResult::Matched, timed.WaitFor(std::regex("^x$"), 1s, stop));

  // Only the oldest unread lines are forgotten.
  for (size_t i = 0; i <= UnitOutput::kKept; ++i) {
    output.Line("line " + std::to_string(i));
  }
  EXPECT_EQ(UnitOutput::WaitResult::TimedOut, output.WaitFor(std::regex("^line 0$"), 10ms, stop));
  EXPECT_EQ(UnitOutput::WaitResult::Matched, output.WaitFor(std::regex("^line 1$"), 10ms, stop));
  EXPECT_EQ(UnitOutput::WaitResult::Matched,
            output.WaitFor(std::regex("^line " + std::to_string(UnitOutput::kKept) + "$"), 10ms, stop));
}

TEST(UnitScriptTest, WordsKeepQuotedBlanksAndBackslashes) {
  using Words = std::vector<std::string>;
  EXPECT_EQ(Words({"table", "1=a", "2=b c", "3=d \"e\"", "xy zw"}),
            velarnctl::UnitScript::Words("  table 1=a \"2=b c\"\t'3=d \"e\"' x\"y z\"w "));
  EXPECT_EQ(Words({"<- msg \"x\" \\d+", "5"}), velarnctl::UnitScript::Words("\"<- msg \\\"x\\\" \\d+\" 5"));
  EXPECT_EQ(Words({""}), velarnctl::UnitScript::Words("''"));
  EXPECT_EQ(Words(), velarnctl::UnitScript::Words(" "));
  EXPECT_THROW(velarnctl::UnitScript::Words("wait \"open"), std::invalid_argument);
  EXPECT_THROW(velarnctl::UnitScript::Words("a \"b\\\""), std::invalid_argument);
}

std::string LineOf(const quorlan::AOutgoingMessage& message) {
  common::Buffer bytes(256, 200);
  quorlan::MessageCodec::Serialize(message, bytes);
  quorlan::Message tree;
  tree.Parse(bytes);
  return velarnctl::MessageLine(tree);
}

std::string LineOf(const std::string& json) {
  quorlan::Message tree;
  velarnctl::MessageFromJson(velarnctl::MessageJson::parse(json), tree);
  return velarnctl::MessageLine(tree);
}

// The names come from a table of their own; the real classes write the keys.
TEST(UnitMessageTextTest, NamesTheFieldsTheMessageClassesWrite) {
  quorlan::OrderWorkflowEventOutMsg workflow;
  workflow.time.SetValue(5000);
  workflow.linkAge.SetValue(-1);
  quorlan::PositionGroup position;
  position.valid.SetValue(true);
  position.latitude.SetValue(-48137154);
  position.longitude.SetValue(11576124);
  position.time.SetValue(7);
  position.satellites.SetValue(6);
  position.course.SetValue(45);
  position.speed.SetValue(50);
  workflow.unitPosition.SetValue(position);
  workflow.logbookMode.SetValue(3);
  workflow.text.SetValue("too \"late\"");
  workflow.orderId.SetValue(1001);
  workflow.orderType.SetValue(1);
  workflow.workflowCode.SetValue(101);
  EXPECT_EQ(
      "0x0503 OrderWorkflowEventOutMsg time=5000 linkAge=-1 unitPosition={valid=true latitude=-48137154 "
      "longitude=11576124 time=7 satellites=6 course=45 speed=50} logbookMode=3 text=\"too \\\"late\\\"\" "
      "orderId=1001 orderType=1 workflowCode=101",
      LineOf(workflow));

  quorlan::WorkingTimeReportOutMsg working;
  working.time.SetValue(1);
  working.linkAge.SetValue(0);
  working.previousState.SetValue(1);
  working.newState.SetValue(2);
  working.driverId.SetValue(9);
  working.extra.SetValue(4);
  EXPECT_EQ("0x0505 WorkingTimeReportOutMsg time=1 linkAge=0 previousState=1 newState=2 driverId=9 extra=4",
            LineOf(working));

  quorlan::ErrorOutMsg error;
  error.errorCode.SetValue(1);
  error.time.SetValue(3);
  error.release.SetValue("vld0.0404");
  common::Buffer data(2, 200);
  data.Append(static_cast<unsigned char>(0xAB));
  error.data.SetValue(data);
  EXPECT_EQ("0x05ff ErrorOutMsg errorCode=1 time=3 release=\"vld0.0404\" data=hex:ab", LineOf(error));

  // The server's messages, with their groups; keys without a name and
  // unknown ids show their numbers.
  EXPECT_EQ(
      "0x0401 NewOrderInMsg orderId=1 destination={latitude=2 longitude=3 description=\"D\"} "
      "telephoneNumbers=[{name=\"office\" number=\"1\"},{number=\"2\" 3=null}] 200=false",
      LineOf("{\"id\": \"NewOrderInMsg\", \"nodes\": {\"1\": 1, \"6\": {\"1\": 2, \"2\": 3, \"3\": \"D\"}, "
             "\"9\": [{\"1\": \"office\", \"2\": \"1\"}, {\"2\": \"2\", \"3\": null}], \"200\": false}}"));
  EXPECT_EQ("0x0405 ConfigurationInMsg etaEnabled=true resetMode=2",
            LineOf("{\"id\": \"ConfigurationInMsg\", \"nodes\": {\"6\": true, \"11\": 2}}"));
  EXPECT_EQ("0x0777 unknown 1=[5,{1=\"x\"}]",
            LineOf("{\"id\": \"0x0777\", \"nodes\": {\"1\": [5, {\"1\": \"x\"}]}}"));
  EXPECT_EQ("0x0406 ResetInMsg", LineOf("{\"id\": \"ResetInMsg\"}"));

  EXPECT_EQ("4:A", velarnctl::PduName(0x040A));
  EXPECT_EQ("8:2", velarnctl::PduName(0x0802));
  common::Buffer text(4, 200);
  text.Append("ab c", 4);
  EXPECT_EQ("\"ab c\"", velarnctl::ValueText(text));
  text.Append(static_cast<unsigned char>(0x7F));
  EXPECT_EQ("hex:616220637f", velarnctl::ValueText(text));
  EXPECT_EQ("hex:", velarnctl::ValueText(common::Buffer(0, 200)));
}

TEST(UnitRouteTest, DrivesRoundTheLoopAndBack) {
  velarnctl::UnitRoute route(36);  // 10 m/s
  velarn::GPSFix start, fix;
  velarn::GPSFixEx startEx, fixEx;
  route.Fill(12345, start, startEx);
  EXPECT_EQ('A', start.status);
  EXPECT_EQ(48137154, start.latitude);
  EXPECT_EQ(11576124, start.longitude);
  EXPECT_EQ(30, start.course);  // north-east to the second waypoint
  EXPECT_EQ(36, start.speed);
  EXPECT_EQ(360, startEx.speed);  // tenths
  EXPECT_EQ(300, startEx.course);
  EXPECT_EQ(start.latitude, startEx.latitude);
  EXPECT_EQ(12345u, startEx.time);
  // The satellites in use are those of the mask.
  unsigned used = 0;
  for (unsigned i = 0; i < startEx.satelliteCount; ++i) {
    used += (startEx.satelliteMask >> (startEx.satellites[i].number - 1)) & 1;
  }
  EXPECT_EQ(start.satellites, used);
  EXPECT_EQ(8, startEx.satelliteCount);

  // 100 m along the first leg (313 m long): north-east of the start.
  route.Advance(10000);
  route.Fill(0, fix, fixEx);
  EXPECT_EQ(100u, fix.tripValue);
  EXPECT_GT(fix.latitude, start.latitude);
  EXPECT_GT(fix.longitude, start.longitude);
  EXPECT_EQ(30, fix.course);

  // Round the loop (about 2992 m) in steps: back where it began, 8 m on.
  for (unsigned step = 0; step < 290; ++step) {
    route.Advance(1000);
  }
  route.Fill(0, fix, fixEx);
  EXPECT_NEAR(start.latitude, fix.latitude, 300);  // a few metres
  EXPECT_NEAR(start.longitude, fix.longitude, 300);
  EXPECT_EQ(30, fix.course);
  EXPECT_EQ(3000u, fix.tripValue);
}

// Records what the layer hands on, from whichever thread.
class Ends : public velarn::IRawDataSender, public velarn::IFrameReceiver {
 public:
  void SendRawData(const common::Buffer& data) override { Note("down", data); }
  void ReceiveFrame(const common::Buffer& frame) override { Note("up", frame); }
  std::vector<std::string> Seen() {
    std::lock_guard<std::mutex> lock(mutex);
    return seen;
  }

 private:
  void Note(const char* direction, const common::Buffer& data) {
    std::lock_guard<std::mutex> lock(mutex);
    seen.push_back(std::string(direction) + " " + std::to_string(data[2]));
  }
  std::mutex mutex;
  std::vector<std::string> seen;
};

common::Buffer DataPacket(uint8_t direction, uint8_t sequence) {
  common::Buffer payload(2, 200);
  payload.Append(static_cast<unsigned char>(0x04));
  payload.Append(static_cast<unsigned char>(0x08));
  common::Buffer packet(8, 200);
  velarn::frame::WriteData(packet, direction, sequence, payload);
  return packet;
}

struct Link {
  explicit Link(unsigned seed) : output(printed, false), layer(mutex, output, seed) {
    layer.SetRawDataSender(&ends);
    layer.SetFrameReceiver(&ends);
  }
  // count packets each way, alternating, as the stack would under its mutex.
  void Pass(unsigned count) {
    for (unsigned i = 0; i < count; ++i) {
      boost::recursive_mutex::scoped_lock lock(mutex);
      layer.SendFrame(DataPacket(velarn::frame::kFromUnit, static_cast<uint8_t>(i)));
      layer.ReceiveRawData(DataPacket(velarn::frame::kFromDevice, static_cast<uint8_t>(i)));
    }
  }
  boost::recursive_mutex mutex;
  std::ostringstream printed;
  UnitOutput output;
  Ends ends;
  velarnctl::LossyFrameLayer layer;
};

TEST(LossyFrameLayerTest, LosesBySeedAndDelaysInOrder) {
  Link first(7), second(7), other(8);
  for (Link* link : {&first, &second, &other}) {
    link->layer.SetLoss(30);
    link->Pass(200);
  }
  // The same seed loses the same datagrams, another seed others, and the
  // share is about the one asked for.
  EXPECT_EQ(first.ends.Seen(), second.ends.Seen());
  EXPECT_NE(first.ends.Seen(), other.ends.Seen());
  EXPECT_GT(first.ends.Seen().size(), 220u);
  EXPECT_LT(first.ends.Seen().size(), 340u);

  // Traced: both directions, the packet in words, the lost ones marked.
  Link traced(1);
  traced.layer.SetTrace(true);
  traced.layer.SetLoss(100);
  traced.Pass(1);
  EXPECT_EQ("frame -> data seq=0 pdu=4:8 lost\nframe <- data seq=0 pdu=4:8 lost\n", traced.printed.str());

  // Silent: nothing passes, whatever the loss.
  Link silent(1);
  silent.layer.SetSilent(true);
  silent.Pass(3);
  EXPECT_TRUE(silent.ends.Seen().empty());

  // Delayed: everything arrives, each direction in its order.
  Link delayed(1);
  delayed.layer.SetDelay(20);
  delayed.layer.Start();
  delayed.Pass(50);
  ASSERT_TRUE(testsupport::WaitUntil([&delayed] { return delayed.ends.Seen().size() == 100; }, 10s));
  std::vector<std::string> up, down;
  for (const std::string& seen : delayed.ends.Seen()) {
    (seen.compare(0, 2, "up") == 0 ? up : down).push_back(seen);
  }
  for (unsigned i = 0; i < 50; ++i) {
    EXPECT_EQ("up " + std::to_string(i), up.at(i));
    EXPECT_EQ("down " + std::to_string(i), down.at(i));
  }
  delayed.layer.Stop();
}

}  // namespace

#include "quorlan/EventOutMessages.h"
#include "quorlan/OutgoingMessages.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "common/Exceptions.h"
#include "quorlan/MessageCodec.h"
#include "quorlan/TestHelpers.h"

namespace {

using common::Buffer;
using quorlan::AEventOutMsg;
using quorlan::AOutgoingMessage;
using quorlan::Message;
using quorlan::MessageCodec;
using quorlan::MessageField;
using namespace quorlantest;

std::string Encoded(const AOutgoingMessage& message) {
  Buffer buffer(1024, 200);
  buffer.Append("stale", 5);
  try {
    MessageCodec::Serialize(message, buffer);
  } catch (const SerializeException& error) {
    EXPECT_EQ(0u, buffer.GetSize()) << "a failure leaves the buffer empty";
    return std::string("failure: ") + error.what();
  }
  return Hex(buffer);
}

// The tree of a serialised message, to read its keys back.
Message Decoded(const AOutgoingMessage& message) {
  Buffer buffer(1024, 200);
  MessageCodec::Serialize(message, buffer);
  Message tree;
  tree.Parse(buffer);
  EXPECT_EQ(message.GetId(), tree.GetId());
  return tree;
}

int64_t IntegerAt(const Message& tree, const std::string& path) {
  return boost::dynamic_pointer_cast<quorlan::IntegerMessageNode>(tree.GetNode(path))->GetValue();
}

std::string StringAt(const Message& tree, const std::string& path) {
  return boost::dynamic_pointer_cast<quorlan::StringMessageNode>(tree.GetNode(path))->GetValue();
}

void FillHeader(AEventOutMsg& event) {
  event.time.SetValue(300000000000ull);
  event.linkAge.SetValue(0);
}

quorlan::PositionGroup Position(bool valid, int32_t latitude, int32_t longitude) {
  quorlan::PositionGroup position;
  position.valid.SetValue(valid);
  position.latitude.SetValue(latitude);
  position.longitude.SetValue(longitude);
  position.time.SetValue(790000000);
  position.satellites.SetValue(7);
  position.course.SetValue(90);
  position.speed.SetValue(515);
  return position;
}

// The failure of message with field put into state (Absent by default).
template <class M, class B, class F>
std::string Without(M message, MessageField<F> B::*field, quorlan::FieldState state = quorlan::Absent) {
  (message.*field).state = state;
  return Encoded(message);
}

std::string Missing(int key) { return "failure: can't serialize parameter: " + std::to_string(key); }

TEST(OutgoingMessagesTest, TextMessageWorkflowEventIsTwentyTwoBytes) {
  quorlan::TextMessageWorkflowEventOutMsg event;
  FillHeader(event);
  event.messageId.SetValue(1000);
  event.workflowCode.SetValue(102);
  EXPECT_EQ("05 08 01 C8 00 00 00 45 D9 64 B8 00 02 C2 00 8D C4 03 E8 8E C2 66", Encoded(event));

  EXPECT_EQ(Missing(1), Without(event, &AEventOutMsg::time));
  EXPECT_EQ(Missing(2), Without(event, &AEventOutMsg::linkAge, quorlan::Null));
  EXPECT_EQ(Missing(0x8D), Without(event, &quorlan::TextMessageWorkflowEventOutMsg::messageId));
  EXPECT_EQ(Missing(0x8E), Without(event, &quorlan::TextMessageWorkflowEventOutMsg::workflowCode));
}

TEST(OutgoingMessagesTest, EventHeaderWithBothPositionsAndOptionalKeys) {
  quorlan::StatusEventOutMsg event;
  EXPECT_EQ("failure: can't serialize parameter: 1", Encoded(event));
  event.time.SetValue(1);
  EXPECT_EQ("failure: can't serialize parameter: 2", Encoded(event));
  event.linkAge.SetValue(-1);
  event.statusId.SetValue(12);
  // Only time and link age: positions and keys 5 to 7 are left out.
  EXPECT_EQ("05 01 01 C2 01 02 C3 01 81 C2 0C", Encoded(event));

  event.unitPosition.SetValue(Position(true, 48137000, -11575000));
  event.navigationPosition.SetValue(Position(false, -1, 2));
  event.odometer.SetValue(123456);
  event.tripValue.SetValue(0);
  event.logbookMode.SetValue(2);
  event.text.SetValue("on the way");
  const Message tree = Decoded(event);
  EXPECT_TRUE(boost::dynamic_pointer_cast<quorlan::BoolMessageNode>(tree.GetNode("3/1"))->GetValue());
  EXPECT_FALSE(boost::dynamic_pointer_cast<quorlan::BoolMessageNode>(tree.GetNode("4/1"))->GetValue());
  for (const auto& node : std::vector<std::pair<const char*, int64_t>>{{"2", -1},
                                                                       {"3/2", 48137000},
                                                                       {"3/3", -11575000},
                                                                       {"3/4", 790000000},
                                                                       {"3/5", 7},
                                                                       {"3/6", 90},
                                                                       {"3/7", 515},
                                                                       {"4/2", -1},
                                                                       {"5", 123456},
                                                                       {"6", 0},
                                                                       {"7", 2},
                                                                       {"129", 12}}) {
    EXPECT_EQ(node.second, IntegerAt(tree, node.first)) << node.first;
  }
  EXPECT_EQ("on the way", StringAt(tree, "130"));
  EXPECT_EQ(9u, tree.GetCount());

  // A group that is there needs all its keys; a null group can't be written.
  quorlan::StatusEventOutMsg noSpeed = event;
  noSpeed.navigationPosition.value.speed.state = quorlan::Absent;
  EXPECT_EQ("failure: can't serialize parameter: 7", Encoded(noSpeed));
  quorlan::StatusEventOutMsg noTime = event;
  noTime.unitPosition.value.time.state = quorlan::Absent;
  EXPECT_EQ("failure: can't serialize parameter: 4", Encoded(noTime));
  EXPECT_EQ(Missing(3), Without(event, &AEventOutMsg::unitPosition, quorlan::Null));
  EXPECT_EQ(Missing(4), Without(event, &AEventOutMsg::navigationPosition, quorlan::Null));
  // The header fails before the concrete keys.
  quorlan::StatusEventOutMsg twoMissing = event;
  twoMissing.statusId.state = quorlan::Absent;
  twoMissing.linkAge.state = quorlan::Absent;
  EXPECT_EQ("failure: can't serialize parameter: 2", Encoded(twoMissing));
  // Strings over their limit fail as in the tree.
  quorlan::StatusEventOutMsg longText = event;
  longText.text.SetValue(std::string(16384, 't'));
  EXPECT_EQ("failure: to long string", Encoded(longText));
}

TEST(OutgoingMessagesTest, OrderEventsWriteTheirKeys) {
  quorlan::OrderStatusEventOutMsg status;
  FillHeader(status);
  status.statusId.SetValue(3);
  status.orderId.SetValue(1001);
  Message tree = Decoded(status);
  EXPECT_EQ(3, IntegerAt(tree, "129"));
  EXPECT_EQ(1001, IntegerAt(tree, "131"));
  EXPECT_FALSE(tree.HasNode(0x82));
  EXPECT_EQ(Missing(0x81), Without(status, &quorlan::OrderStatusEventOutMsg::statusId));
  EXPECT_EQ(Missing(0x83), Without(status, &quorlan::OrderStatusEventOutMsg::orderId));

  quorlan::OrderWorkflowEventOutMsg workflow;
  FillHeader(workflow);
  workflow.orderId.SetValue(1001);
  workflow.orderType.SetValue(2);
  workflow.workflowCode.SetValue(501);
  workflow.text.SetValue("too many orders");
  tree = Decoded(workflow);
  EXPECT_EQ("too many orders", StringAt(tree, "130"));
  EXPECT_EQ(1001, IntegerAt(tree, "131"));
  EXPECT_EQ(2, IntegerAt(tree, "132"));
  EXPECT_EQ(501, IntegerAt(tree, "133"));
  EXPECT_EQ(Missing(0x83), Without(workflow, &quorlan::OrderWorkflowEventOutMsg::orderId));
  EXPECT_EQ(Missing(0x84), Without(workflow, &quorlan::OrderWorkflowEventOutMsg::orderType));
  EXPECT_EQ("failure: can't serialize parameter: 133",
            Without(workflow, &quorlan::OrderWorkflowEventOutMsg::workflowCode));

  quorlan::ETAReportOutMsg eta;
  FillHeader(eta);
  eta.orderId.SetValue(1001);
  eta.reportKind.SetValue(2);
  tree = Decoded(eta);
  EXPECT_EQ(2, IntegerAt(tree, "138"));
  EXPECT_FALSE(tree.HasNode(0x8B));
  EXPECT_FALSE(tree.HasNode(0x8C));
  eta.reportKind.SetValue(1);
  eta.distance.SetValue(15000);
  eta.eta.SetValue(790003600);
  tree = Decoded(eta);
  EXPECT_EQ(1001, IntegerAt(tree, "131"));
  EXPECT_EQ(15000, IntegerAt(tree, "139"));
  EXPECT_EQ(790003600, IntegerAt(tree, "140"));
  EXPECT_EQ(Missing(0x83), Without(eta, &quorlan::ETAReportOutMsg::orderId));
  EXPECT_EQ(Missing(0x8A), Without(eta, &quorlan::ETAReportOutMsg::reportKind, quorlan::Null));
}

TEST(OutgoingMessagesTest, TextStatusWorkingTimeAndDriverEvents) {
  quorlan::TextMessageEventOutMsg text;
  FillHeader(text);
  EXPECT_EQ("failure: can't serialize parameter: 130", Encoded(text));
  text.text.SetValue("");
  EXPECT_EQ("05 04 01 C8 00 00 00 45 D9 64 B8 00 02 C2 00 82 40 00", Encoded(text));

  quorlan::WorkingTimeReportOutMsg report;
  FillHeader(report);
  report.previousState.SetValue(1);
  report.newState.SetValue(2);
  report.driverId.SetValue(4711);
  Message tree = Decoded(report);
  EXPECT_EQ(1, IntegerAt(tree, "134"));
  EXPECT_EQ(2, IntegerAt(tree, "135"));
  EXPECT_EQ(4711, IntegerAt(tree, "136"));
  EXPECT_FALSE(tree.HasNode(0x89));
  report.extra.SetValue(9);
  EXPECT_EQ(9, IntegerAt(Decoded(report), "137"));
  EXPECT_EQ(Missing(0x86), Without(report, &quorlan::WorkingTimeReportOutMsg::previousState));
  EXPECT_EQ(Missing(0x87), Without(report, &quorlan::WorkingTimeReportOutMsg::newState));
  EXPECT_EQ(Missing(0x88), Without(report, &quorlan::WorkingTimeReportOutMsg::driverId));

  quorlan::DriverIdChangedOutMsg driver;
  FillHeader(driver);
  driver.driverId.SetValue(0xFFFFFFFFu);
  driver.previousDriverId.SetValue(0);
  tree = Decoded(driver);
  EXPECT_EQ(0xFFFFFFFFLL, IntegerAt(tree, "136"));  // widened with zeros, not negative
  EXPECT_EQ(0, IntegerAt(tree, "143"));
  EXPECT_EQ(Missing(0x88), Without(driver, &quorlan::DriverIdChangedOutMsg::driverId));
  EXPECT_EQ(Missing(0x8F), Without(driver, &quorlan::DriverIdChangedOutMsg::previousDriverId));
}

TEST(OutgoingMessagesTest, ErrorAndNewConnectionMessages) {
  quorlan::ErrorOutMsg error;
  error.errorCode.SetValue(1);
  error.time.SetValue(790000000);
  error.release.SetValue("vld0.0404");
  error.data.SetValue(Buffer(0, 200));
  EXPECT_EQ("05 FF 01 C2 01 02 C6 2F 16 71 80 03 40 09 76 6C 64 30 2E 30 34 30 34 05 80 00", Encoded(error));
  error.text.SetValue("unknown message");
  error.data.SetValue(Bytes({0x04, 0x07}));
  const Message tree = Decoded(error);
  EXPECT_EQ("unknown message", StringAt(tree, "4"));
  EXPECT_EQ("04 07",
            Hex(boost::dynamic_pointer_cast<quorlan::ByteArrayMessageNode>(tree.GetNode(5))->GetValue()));
  EXPECT_EQ(Missing(1), Without(error, &quorlan::ErrorOutMsg::errorCode));
  EXPECT_EQ(Missing(2), Without(error, &quorlan::ErrorOutMsg::time));
  EXPECT_EQ(Missing(3), Without(error, &quorlan::ErrorOutMsg::release));

  quorlan::NewVelarnConnectedOutMsg connected;
  connected.time.SetValue(1);
  connected.orderIds.SetValue({1, 2, 3, 4, 5, 6, 7, 70000});
  connected.textMessageIds.SetValue({});
  connected.release.SetValue("vld0.0404");
  connected.resetMode.SetValue(2);
  EXPECT_EQ(
      "05 80 01 C2 01 02 28 08 C2 01 C2 02 C2 03 C2 04 C2 05 C2 06 C2 07 C6 00 01 11 70 03 20 "
      "04 40 09 76 6C 64 30 2E 30 34 30 34 05 C2 02",
      Encoded(connected));
  EXPECT_EQ(Missing(1), Without(connected, &quorlan::NewVelarnConnectedOutMsg::time));
  EXPECT_EQ(Missing(2), Without(connected, &quorlan::NewVelarnConnectedOutMsg::orderIds));
  EXPECT_EQ(Missing(3),
            Without(connected, &quorlan::NewVelarnConnectedOutMsg::textMessageIds, quorlan::Null));
  EXPECT_EQ(Missing(4), Without(connected, &quorlan::NewVelarnConnectedOutMsg::release));
  EXPECT_EQ(Missing(5), Without(connected, &quorlan::NewVelarnConnectedOutMsg::resetMode));
  // A list over its limit fails as in the tree.
  connected.orderIds.value.assign(2048, 1);
  EXPECT_EQ("failure: to long list", Encoded(connected));
}

}  // namespace

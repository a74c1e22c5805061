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
using quorlan::MessageCodec;
using quorlan::MessageField;
using namespace quorlantest;
using Row = std::pair<std::string, std::string>;  // what was written, what was expected

// The bytes of message, or the failure's text (a failure leaves the buffer empty).
std::string Encoded(const AOutgoingMessage& message) {
  Buffer buffer(1024, 200);
  buffer.Append("stale", 5);
  try {
    MessageCodec::Serialize(message, buffer);
  } catch (const SerializeException& error) {
    EXPECT_EQ(0u, buffer.GetSize()) << error.what();
    return std::string("failure: ") + error.what();
  }
  return Hex(buffer);
}

// The failure of message with field put into state. Null by default: a
// required field that isn't nullable fails both Absent and Null.
template <class M, class B, class F>
std::string Without(M message, MessageField<F> B::*field, quorlan::FieldState state = quorlan::Null) {
  (message.*field).state = state;
  return Encoded(message);
}

std::string Missing(int key) { return "failure: can't serialize parameter: " + std::to_string(key); }

template <class M>
M Event() {
  M event;
  event.time.SetValue(300000000000ull);
  event.linkAge.SetValue(0);
  return event;
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

void Check(const std::vector<Row>& rows) {
  for (size_t i = 0; i < rows.size(); ++i) {
    EXPECT_EQ(rows[i].second, rows[i].first) << "row " << i;
  }
}

TEST(OutgoingMessagesTest, EventsByteForByteAndTheirRequiredKeys) {
  using quorlan::StatusEventOutMsg;
  auto textFlow = Event<quorlan::TextMessageWorkflowEventOutMsg>();
  textFlow.messageId.SetValue(1000);
  textFlow.workflowCode.SetValue(102);
  StatusEventOutMsg status;
  const std::string noTime = Encoded(status);
  status.time.SetValue(1);
  const std::string noLinkAge = Encoded(status);
  status.linkAge.SetValue(-1);
  status.statusId.SetValue(12);
  const std::string headerOnly = Encoded(status);  // positions and keys 5 to 7 are left out
  status.unitPosition.SetValue(Position(true, 48137000, -11575000));
  status.navigationPosition.SetValue(Position(false, -1, 2));
  status.odometer.SetValue(123456);
  status.tripValue.SetValue(0);
  status.logbookMode.SetValue(2);
  status.text.SetValue("on the way");
  StatusEventOutMsg noSpeed = status, noFixTime = status, twoMissing = status, longText = status;
  noSpeed.navigationPosition.value.speed.state = quorlan::Absent;
  noFixTime.unitPosition.value.time.state = quorlan::Absent;
  StatusEventOutMsg noCourse = status;
  noCourse.unitPosition.value.course.state = quorlan::Null;
  twoMissing.statusId.state = quorlan::Absent;  // the header fails before the concrete keys
  twoMissing.linkAge.state = quorlan::Absent;
  longText.text.SetValue(std::string(16384, 't'));
  auto orderStatus = Event<quorlan::OrderStatusEventOutMsg>();
  orderStatus.statusId.SetValue(3);
  orderStatus.orderId.SetValue(1001);
  auto workflow = Event<quorlan::OrderWorkflowEventOutMsg>();
  workflow.orderId.SetValue(1001);
  workflow.orderType.SetValue(2);
  workflow.workflowCode.SetValue(501);
  workflow.text.SetValue("too many");
  auto eta = Event<quorlan::ETAReportOutMsg>();
  eta.orderId.SetValue(1001);
  eta.reportKind.SetValue(2);
  auto etaFull = eta;
  etaFull.reportKind.SetValue(1);
  etaFull.distance.SetValue(15000);
  etaFull.eta.SetValue(790003600);
  auto text = Event<quorlan::TextMessageEventOutMsg>();
  const std::string noText = Encoded(text);
  text.text.SetValue("");
  auto report = Event<quorlan::WorkingTimeReportOutMsg>();
  report.previousState.SetValue(1);
  report.newState.SetValue(2);
  report.driverId.SetValue(4711);
  auto reportExtra = report;
  reportExtra.extra.SetValue(9);
  auto driver = Event<quorlan::DriverIdChangedOutMsg>();
  driver.driverId.SetValue(0xFFFFFFFFu);  // widened with zeros, not negative
  driver.previousDriverId.SetValue(0);
  const std::string header = "01 C8 00 00 00 45 D9 64 B8 00 02 C2 00 ";
  Check({
      {Encoded(textFlow), "05 08 " + header + "8D C4 03 E8 8E C2 66"},
      {headerOnly, "05 01 01 C2 01 02 C3 01 81 C2 0C"},
      {Encoded(status),
       "05 01 01 C2 01 02 C3 01 03 17 01 C1 02 C6 02 DE 83 28 03 C7 00 B0 9E D8 04 C6 2F 16 71 80 05 C2 07 "
       "06 C2 5A "
       "07 C4 02 03 04 17 01 C0 02 C3 01 03 C2 02 04 C6 2F 16 71 80 05 C2 07 06 C2 5A 07 C4 02 03 05 C6 00 "
       "01 E2 40 "
       "06 C2 00 07 C2 02 81 C2 0C 82 40 0A 6F 6E 20 74 68 65 20 77 61 79"},
      {Encoded(orderStatus), "05 02 " + header + "81 C2 03 83 C4 03 E9"},
      {Encoded(workflow),
       "05 03 " + header + "82 40 08 74 6F 6F 20 6D 61 6E 79 83 C4 03 E9 84 C2 02 85 C4 01 F5"},
      {Encoded(eta), "05 06 " + header + "83 C4 03 E9 8A C2 02"},
      {Encoded(etaFull), "05 06 " + header + "83 C4 03 E9 8A C2 01 8B C4 3A 98 8C C6 2F 16 7F 90"},
      {Encoded(text), "05 04 " + header + "82 40 00"},
      {Encoded(report), "05 05 " + header + "86 C2 01 87 C2 02 88 C4 12 67"},
      {Encoded(reportExtra), "05 05 " + header + "86 C2 01 87 C2 02 88 C4 12 67 89 C2 09"},
      {Encoded(driver), "05 07 " + header + "88 C6 FF FF FF FF 8F C2 00"},
      {noTime, Missing(1)},
      {noLinkAge, Missing(2)},
      {noText, Missing(0x82)},
      {Encoded(noSpeed), Missing(7)},  // a group that is there needs all its keys
      {Encoded(noFixTime), Missing(4)},
      {Encoded(noCourse), Missing(6)},
      {Encoded(twoMissing), Missing(2)},
      {Encoded(longText), "failure: to long string"},
      {Without(textFlow, &AEventOutMsg::time), Missing(1)},
      {Without(textFlow, &AEventOutMsg::linkAge, quorlan::Null), Missing(2)},
      {Without(status, &AEventOutMsg::unitPosition, quorlan::Null),
       Missing(3)},  // a null group can't be written
      {Without(status, &AEventOutMsg::navigationPosition, quorlan::Null), Missing(4)},
      {Without(textFlow, &quorlan::TextMessageWorkflowEventOutMsg::messageId), Missing(0x8D)},
      {Without(textFlow, &quorlan::TextMessageWorkflowEventOutMsg::workflowCode), Missing(0x8E)},
      {Without(orderStatus, &quorlan::OrderStatusEventOutMsg::statusId), Missing(0x81)},
      {Without(orderStatus, &quorlan::OrderStatusEventOutMsg::orderId), Missing(0x83)},
      {Without(workflow, &quorlan::OrderWorkflowEventOutMsg::orderId), Missing(0x83)},
      {Without(workflow, &quorlan::OrderWorkflowEventOutMsg::orderType), Missing(0x84)},
      {Without(workflow, &quorlan::OrderWorkflowEventOutMsg::workflowCode), Missing(0x85)},
      {Without(eta, &quorlan::ETAReportOutMsg::orderId), Missing(0x83)},
      {Without(eta, &quorlan::ETAReportOutMsg::reportKind, quorlan::Null), Missing(0x8A)},
      {Without(report, &quorlan::WorkingTimeReportOutMsg::previousState), Missing(0x86)},
      {Without(report, &quorlan::WorkingTimeReportOutMsg::newState), Missing(0x87)},
      {Without(report, &quorlan::WorkingTimeReportOutMsg::driverId), Missing(0x88)},
      {Without(driver, &quorlan::DriverIdChangedOutMsg::driverId), Missing(0x88)},
      {Without(driver, &quorlan::DriverIdChangedOutMsg::previousDriverId), Missing(0x8F)},
  });
}

TEST(OutgoingMessagesTest, ErrorAndNewConnectionMessages) {
  quorlan::ErrorOutMsg error;
  error.errorCode.SetValue(1);
  error.time.SetValue(790000000);
  error.release.SetValue("vld0.0404");
  error.data.SetValue(Buffer(0, 200));
  const std::string bare = Encoded(error);
  error.text.SetValue("unknown message");
  error.data.SetValue(Bytes({0x04, 0x07}));
  quorlan::NewVelarnConnectedOutMsg connected;
  connected.time.SetValue(1);
  connected.orderIds.SetValue({1, 2, 3, 4, 5, 6, 7, 70000});
  connected.textMessageIds.SetValue({});
  connected.release.SetValue("vld0.0404");
  connected.resetMode.SetValue(2);
  auto tooMany = connected;
  tooMany.orderIds.value.assign(2048, 1);  // a list over its limit fails as in the tree
  using quorlan::ErrorOutMsg;
  using quorlan::NewVelarnConnectedOutMsg;
  Check({
      {bare, "05 FF 01 C2 01 02 C6 2F 16 71 80 03 40 09 76 6C 64 30 2E 30 34 30 34 05 80 00"},
      {Encoded(error),
       "05 FF 01 C2 01 02 C6 2F 16 71 80 03 40 09 76 6C 64 30 2E 30 34 30 34 04 40 0F 75 6E 6B 6E 6F 77 6E "
       "20 "
       "6D 65 73 73 61 67 65 05 80 02 04 07"},
      {Encoded(connected),
       "05 80 01 C2 01 02 28 08 C2 01 C2 02 C2 03 C2 04 C2 05 C2 06 C2 07 C6 00 01 11 70 03 20 "
       "04 40 09 76 6C 64 30 2E 30 34 30 34 05 C2 02"},
      {Encoded(tooMany), "failure: to long list"},
      {Without(error, &ErrorOutMsg::errorCode), Missing(1)},
      {Without(error, &ErrorOutMsg::time), Missing(2)},
      {Without(error, &ErrorOutMsg::release), Missing(3)},
      {Without(connected, &NewVelarnConnectedOutMsg::time), Missing(1)},
      {Without(connected, &NewVelarnConnectedOutMsg::orderIds), Missing(2)},
      {Without(connected, &NewVelarnConnectedOutMsg::textMessageIds, quorlan::Null), Missing(3)},
      {Without(connected, &NewVelarnConnectedOutMsg::release), Missing(4)},
      {Without(connected, &NewVelarnConnectedOutMsg::resetMode), Missing(5)},
  });
}

}  // namespace

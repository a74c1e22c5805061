// While the queue to the unit is full, the driver's actions that would send
// anything are refused with the ordinary answer and change nothing; those
// that send nothing still work.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "bkcom/Actions.h"
#include "bkcom/Text.h"
#include "data/DatabaseFile.h"
#include "velarnd/ApplicationHarness.h"

using velarndtest::ApplicationRig;
using velarndtest::Deliver;

namespace {

// An order (1, unread), a text message (2, unread), a status and an order
// status (both 5), the working time clock and the logbook switched on.
void Prepare(ApplicationRig& rig) {
  velarndtest::FromServer(
      rig, R"({"id": "NewOrderInMsg", "nodes": {"1": 1, "2": "N", "3": 1, "4": "T", "5": 0, "7": false}})");
  velarndtest::FromServer(rig, R"({"id": "NewTextMessageInMsg", "nodes": {"1": 2, "2": "Hi"}})");
  rig.database.statuses.emplace(5, data::Status(5, "Free"));
  rig.database.orderStatuses.emplace(5, data::Status(5, "Done"));
  rig.database.config.workingTimeEnabled = true;
  rig.database.config.logbookEnabled = true;
  rig.log.Take();
}

template <class T>
std::function<void(ApplicationRig&)> Send(std::function<void(T&)> setup) {
  return [setup](ApplicationRig& rig) {
    T action;
    action.actionId = 9;
    setup(action);
    Deliver(rig.application, action);
  };
}

template <class T>
std::function<void(ApplicationRig&)> OnOrder() {
  return Send<T>([](T& a) { a.orderId = 1; });
}

}  // namespace

TEST(ApplicationQueueFullTest, ActionsThatWouldSendAreRefusedUntilThereIsRoom) {
  struct Row {
    const char* name;
    std::function<void(ApplicationRig&)> act;
  };
  const std::vector<Row> rows = {
      {"mark order read", OnOrder<CMarkReadOrderAction>()},
      {"order status",
       Send<CSendStatusOrderAction>([](CSendStatusOrderAction& a) { a.orderId = 1, a.statusId = 5; })},
      {"status", Send<CSendStatusAction>([](CSendStatusAction& a) { a.statusId = 5; })},
      {"mark text read",
       Send<CMarkReadTextMessageAction>([](CMarkReadTextMessageAction& a) { a.msgId = 2; })},
      {"send text",
       Send<CSendTextMessageAction>([](CSendTextMessageAction& a) { bkcom::CopyText(a.text, "x"); })},
      {"working time",
       Send<CChangeWorkingTimeStateAction>([](CChangeWorkingTimeStateAction& a) { a.action = 2; })},
      {"logbook mode", Send<CChangeLogbookModeAction>([](CChangeLogbookModeAction& a) { a.newMode = 8; })},
      {"driver id", Send<CSetDriverIdAction>([](CSetDriverIdAction& a) { a.driverId = 77; })},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ApplicationRig rig;
    Prepare(rig);
    rig.driver.queueFull = true;
    const std::string before = data::EncodeDatabase(rig.database);
    row.act(rig);
    EXPECT_EQ(std::vector<std::string>({"nav CAcknowledge ActionId=9 Error=2"}), rig.log.Take());
    EXPECT_EQ(before, data::EncodeDatabase(rig.database));

    // The same action with room is carried out and sends.
    rig.driver.queueFull = false;
    row.act(rig);
    const std::vector<std::string> sent = rig.log.Take();
    ASSERT_FALSE(sent.empty());
    EXPECT_EQ("nav CAcknowledge ActionId=9 Error=1", sent.front());
    EXPECT_TRUE(std::any_of(sent.begin(), sent.end(), [](const std::string& line) {
      return line.rfind("server ", 0) == 0 || line.rfind("driver ", 0) == 0;
    }));
  }
}

TEST(ApplicationQueueFullTest, ActionsThatSendNothingStillWork) {
  ApplicationRig rig;
  Prepare(rig);
  rig.driver.queueFull = true;
  const size_t before = rig.driver.messages.size();
  Send<CSetDriverIdAction>([](CSetDriverIdAction& a) { a.driverId = 0; })(rig);
  Send<CRequestWorkingTimeStateAction>([](CRequestWorkingTimeStateAction&) {})(rig);
  const std::vector<std::string> lines = rig.log.Take();
  ASSERT_EQ(3u, lines.size());
  EXPECT_EQ("nav CAcknowledge ActionId=9 Error=1", lines[0]);
  EXPECT_EQ("nav CAcknowledge ActionId=9 Error=1", lines[1]);
  EXPECT_EQ(before, rig.driver.messages.size());
}

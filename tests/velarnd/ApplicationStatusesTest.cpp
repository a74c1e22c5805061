#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "bkcom/Actions.h"
#include "bkcom/Text.h"
#include "velarnd/ApplicationHarness.h"

using velarndtest::Ack;
using velarndtest::ApplicationRig;
using velarndtest::Deliver;
using velarndtest::NewOrder;

namespace {

typedef std::vector<std::string> Lines;
typedef std::vector<velarn::StatusTableRow> Table;

Lines ReadTable(ApplicationRig& rig, const Table& table) {
  rig.application.OnStatusTableModified(rig.driver, table);
  return rig.log.Take();
}

std::map<unsigned, std::string> Contents(const data::ObjectList<data::Status>& list) {
  std::map<unsigned, std::string> contents;
  for (const auto& entry : list) {
    EXPECT_EQ(entry.first, entry.second.id);
    contents[entry.first] = entry.second.text;
  }
  return contents;
}

Lines GetList(ApplicationRig& rig, unsigned actionId, unsigned type) {
  CGetStatusListAction action;
  action.actionId = actionId;
  action.type = type;
  Deliver(rig.application, action);
  return rig.log.Take();
}

// The driver's status, for the order orderId unless that is 0.
Lines SendStatus(ApplicationRig& rig, unsigned actionId, unsigned statusId, const std::string& text,
                 unsigned orderId = 0) {
  CSendStatusAction general;
  CSendStatusOrderAction forOrder;
  forOrder.orderId = orderId;
  auto send = [&](auto& action) {
    action.actionId = actionId;
    action.statusId = statusId;
    bkcom::CopyText(action.text, text);
    Deliver(rig.application, action);
  };
  orderId == 0 ? send(general) : send(forOrder);
  return rig.log.Take();
}

const char kStatusesUpdated[] = "nav CStatusListUpdatedEvent Type=2";
const char kOrderStatusesUpdated[] = "nav CStatusListUpdatedEvent Type=1";

}  // namespace

TEST(ApplicationStatusesTest, TheUnitsTableSplitsIntoTwoSortedListsAndOnlyChangesAreAnnounced) {
  ApplicationRig rig;
  // Out of order, with keys outside both ranges and key 5 twice.
  const Table table = {{31, "Loading"}, {5, "Break"}, {30, "Thirty"}, {0, "zero"},
                       {61, "beyond"},  {1, "Start"}, {60, "Sixty"},  {5, "Second five"}};
  EXPECT_EQ(Lines({kStatusesUpdated, kOrderStatusesUpdated}), ReadTable(rig, table));
  EXPECT_EQ((std::map<unsigned, std::string>{{1, "Start"}, {5, "Break"}, {30, "Thirty"}}),
            Contents(rig.database.statuses));
  EXPECT_EQ((std::map<unsigned, std::string>{{1, "Loading"}, {30, "Sixty"}}),
            Contents(rig.database.orderStatuses));

  // Two rows of one key never compare equal with the one stored: announced
  // again, with the first row kept.
  EXPECT_EQ(Lines({kStatusesUpdated}), ReadTable(rig, table));
  EXPECT_EQ("Break", rig.database.statuses.at(5).text);

  // The same content in another order is no change.
  EXPECT_TRUE(
      ReadTable(rig, {{60, "Sixty"}, {30, "Thirty"}, {5, "Break"}, {31, "Loading"}, {1, "Start"}}).empty());

  // One text changed: only its list.
  EXPECT_EQ(Lines({kOrderStatusesUpdated}),
            ReadTable(rig, {{1, "Start"}, {5, "Break"}, {30, "Thirty"}, {31, "Unloading"}, {60, "Sixty"}}));
  // One entry fewer is a change too.
  EXPECT_EQ(Lines({kStatusesUpdated}),
            ReadTable(rig, {{1, "Start"}, {30, "Thirty"}, {31, "Unloading"}, {60, "Sixty"}}));
  EXPECT_EQ(0u, rig.database.statuses.count(5));

  EXPECT_EQ(Lines({kStatusesUpdated, kOrderStatusesUpdated}), ReadTable(rig, {}));
  EXPECT_TRUE(rig.database.statuses.empty() && rig.database.orderStatuses.empty());
}

TEST(ApplicationStatusesTest, ListsAreSentOnRequestInAscendingId) {
  ApplicationRig rig;
  EXPECT_EQ(Lines({Ack(1, 1), "nav CStatusListInfoEvent Type=2 Count=0"}), GetList(rig, 1, 2));
  EXPECT_EQ(Lines({Ack(2, 2)}), GetList(rig, 2, 0));
  EXPECT_EQ(Lines({Ack(3, 2)}), GetList(rig, 3, 3));

  // A label over 100 characters is listed empty; 100 fit.
  ReadTable(rig, {{3, std::string(100, 'c')}, {2, std::string(101, 'b')}, {1, "A"}, {32, "Loading"}});
  EXPECT_EQ(Lines({Ack(4, 1), "nav CStatusListInfoEvent Type=2 Count=3",
                   "nav CStatusInfoEvent Status_.Id=1 Status_.Type=2 Status_.Text=\"A\"",
                   "nav CStatusInfoEvent Status_.Id=2 Status_.Type=2 Status_.Text=\"\"",
                   "nav CStatusInfoEvent Status_.Id=3 Status_.Type=2 Status_.Text=\"" +
                       std::string(100, 'c') + "\""}),
            GetList(rig, 4, 2));
  EXPECT_EQ(Lines({Ack(5, 1), "nav CStatusListInfoEvent Type=1 Count=1",
                   "nav CStatusInfoEvent Status_.Id=2 Status_.Type=1 Status_.Text=\"Loading\""}),
            GetList(rig, 5, 1));
  EXPECT_EQ(std::string(101, 'b'), rig.database.statuses.at(2).text);  // stored whole
}

TEST(ApplicationStatusesTest, StatusesGoToTheServerFromTheirOwnListOnly) {
  ApplicationRig rig;
  NewOrder(rig, 1001, true);
  rig.log.Take();
  EXPECT_EQ(Lines({Ack(1, 2)}), SendStatus(rig, 1, 1, "x"));  // before the table came

  // Id 1 in both lists with different texts, 2 only general, 3 only for orders.
  ReadTable(rig, {{1, "Start"}, {2, "Break"}, {31, "Arrived"}, {33, "Loading"}});
  // A text of one character is a text.
  EXPECT_EQ(Lines({Ack(2, 1), "server 0x0501 StatusEventOutMsg time=T linkAge=-1 statusId=1 text=\"L\""}),
            SendStatus(rig, 2, 1, "L"));
  EXPECT_EQ(Lines({Ack(3, 1), "server 0x0501 StatusEventOutMsg time=T linkAge=-1 statusId=2"}),
            SendStatus(rig, 3, 2, ""));
  EXPECT_EQ(Lines({Ack(4, 2)}), SendStatus(rig, 4, 3, "x"));

  EXPECT_EQ(
      Lines({Ack(5, 1), "server 0x0502 OrderStatusEventOutMsg time=T linkAge=-1 statusId=3 orderId=1001"}),
      SendStatus(rig, 5, 3, "", 1001));
  EXPECT_EQ(
      Lines({Ack(6, 1),
             "server 0x0502 OrderStatusEventOutMsg time=T linkAge=-1 statusId=1 text=\"G\" orderId=1001"}),
      SendStatus(rig, 6, 1, "G", 1001));
  EXPECT_EQ(Lines({Ack(7, 2)}), SendStatus(rig, 7, 2, "", 1001));  // a general status only
  EXPECT_EQ(Lines({Ack(8, 2)}), SendStatus(rig, 8, 3, "", 1002));  // no such order
  // The order, unread as it is, stays untouched.
  EXPECT_EQ(data::Order::StateNewToAccept, rig.database.orders.at(1001).state);
}

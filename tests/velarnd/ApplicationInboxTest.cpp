// Orders, text messages and statuses between the server and the driver.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "bkcom/Actions.h"
#include "bkcom/Text.h"
#include "common/Time.h"
#include "velarnd/ApplicationHarness.h"

using namespace velarndtest;

namespace {

// One order action of the driver; what the application sent in answer.
template <class T, class Setup>
Lines Act(ApplicationRig& rig, unsigned actionId, unsigned orderId, Setup setup) {
  OrderAction<T>(rig, actionId, orderId, setup);
  return Untimed(rig.log.Take());
}

template <class T>
Lines Act(ApplicationRig& rig, unsigned actionId, unsigned orderId) {
  return Act<T>(rig, actionId, orderId, [](T&) {});
}

Lines ChangeActiveState(ApplicationRig& rig, unsigned actionId, unsigned orderId, unsigned bit) {
  return Act<CChangeActiveStateAction>(rig, actionId, orderId,
                                       [bit](CChangeActiveStateAction& a) { a.newActiveState = bit; });
}

template <class T>
Lines WithReason(ApplicationRig& rig, unsigned actionId, unsigned orderId, const char* reason) {
  return Act<T>(rig, actionId, orderId, [reason](T& a) { bkcom::CopyText(a.reason, reason); });
}

Lines Refused(unsigned actionId) { return {Ack(actionId, 2)}; }

std::string Workflow(unsigned orderId, unsigned type, unsigned code, const std::string& text = "") {
  return "server 0x0503 OrderWorkflowEventOutMsg time=T linkAge=-1 " +
         (text.empty() ? std::string() : "text=\"" + text + "\" ") + "orderId=" + std::to_string(orderId) +
         " orderType=" + std::to_string(type) + " workflowCode=" + std::to_string(code);
}

template <class T>
Lines TextAct(ApplicationRig& rig, unsigned actionId, unsigned msgId) {
  T action;
  action.actionId = actionId;
  action.msgId = msgId;
  Deliver(rig.application, action);
  return rig.log.Take();
}

Lines Write(ApplicationRig& rig, unsigned actionId, const std::string& text) {
  CSendTextMessageAction action;
  action.actionId = actionId;
  bkcom::CopyText(action.text, text);
  Deliver(rig.application, action);
  return rig.log.Take();
}

std::string TextWorkflow(unsigned id, unsigned code) {
  return "server 0x0508 TextMessageWorkflowEventOutMsg time=T linkAge=-1 messageId=" + std::to_string(id) +
         " workflowCode=" + std::to_string(code);
}

std::string Received(unsigned id, unsigned sortKey, const std::string& text) {
  return "nav CTextMessageReceivedEvent Msg_.Id=" + std::to_string(id) +
         " Msg_.SKey=" + std::to_string(sortKey) + " Msg_.Read=false Msg_.Text=\"" + text + "\"";
}

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

TEST(ApplicationOrdersTest, AnArrivingOrderIsStoredConvertedAndAnnounced) {
  ApplicationRig rig;
  const uint32_t before = common::GetTime();
  FromServer(rig, R"({"id": "NewOrderInMsg", "nodes": {"1": 1001, "2": "A-17", "3": 1, "4": "Deliver",
      "5": 63, "6": {"1": -48123456, "2": 11987654, "3": "Dock 4"}, "7": true, "8": 800000000,
      "9": [{"1": "Office", "2": "+49 1"}, {"2": "+49 2"}]}})");
  const uint32_t after = common::GetTime();

  // Wire type 1 is stored as 3 and goes back as 1; the mask keeps bits 0-4;
  // positions go out in hundred-thousandths, cut towards zero; the planned
  // arrival counts from 1970.
  EXPECT_EQ(
      Lines({Workflow(1001, 1, 101),
             "nav COrderReceivedEvent Order_.Id=1001 Order_.SKey=2 Order_.Type=3 Order_.State=1"
             " Order_.RecvAt=T Order_.LMT=T Order_.AS=1 Order_.AAS=31 Order_.Dest_.Lat=-4812345"
             " Order_.Dest_.Long=1198765 Order_.PA=1746684800 Order_.Num=\"A-17\" Order_.Text=\"Deliver\""
             " Order_.TN=\"Office;+49 1|;+49 2\" Order_.DestDesc=\"Dock 4\""}),
      Untimed(rig.log.Take()));
  const data::Order& stored = rig.database.orders.at(1001);
  EXPECT_LE(before, stored.arrivalTime);
  EXPECT_GE(after, stored.arrivalTime);
  EXPECT_EQ(stored.arrivalTime, stored.lastChangeTime);
  // The driver's steps through the order's life are the order-life scenario's.
}

// Which action each state allows is the order's own business; here each
// action is refused once, and the refusal is all that goes out.
TEST(ApplicationOrdersTest, RefusedActionsSendOnlyTheRefusalAndReasonsGoToTheServer) {
  ApplicationRig rig;
  NewOrder(rig, 1);
  NewOrder(rig, 2, true);
  NewOrder(rig, 3);
  Act<CMarkReadOrderAction>(rig, 1, 1);
  Act<CMarkReadOrderAction>(rig, 2, 2);
  Act<CMarkReadOrderAction>(rig, 3, 3);
  ASSERT_EQ(3u, Act<CStartOrderAction>(rig, 4, 3).size());

  EXPECT_EQ(Refused(10), Act<CMarkReadOrderAction>(rig, 10, 1));
  EXPECT_EQ(Refused(11), Act<CAcceptOrderAction>(rig, 11, 1));
  EXPECT_EQ(Refused(12), WithReason<CRejectOrderAction>(rig, 12, 1, "no"));
  EXPECT_EQ(Refused(13), WithReason<CCancelOrderAction>(rig, 13, 2, "no"));  // must be rejected
  EXPECT_EQ(Refused(14), Act<CStartOrderAction>(rig, 14, 1));                // 3 is active
  EXPECT_EQ(Refused(15), Act<CSuspendOrderAction>(rig, 15, 1));
  EXPECT_EQ(Refused(16), Act<CResumeOrderAction>(rig, 16, 1));
  EXPECT_EQ(Refused(17), Act<CCompleteOrderAction>(rig, 17, 1));
  EXPECT_EQ(Refused(18), ChangeActiveState(rig, 18, 3, 2));  // mask 0 from the server: only bit 0
  EXPECT_EQ(Refused(19), Act<CDeleteOrderAction>(rig, 19, 1));
  EXPECT_EQ(Refused(20), Act<CMarkReadOrderAction>(rig, 20, 99));
  EXPECT_EQ(Refused(21), Act<CDeleteOrderAction>(rig, 21, 99));
  const data::OrderList& orders = rig.database.orders;
  EXPECT_TRUE(orders.at(1).state == data::Order::StateRead &&
              orders.at(2).state == data::Order::StateReadToAccept &&
              orders.at(3).state == data::Order::StateActive && orders.at(3).activeState == 1);

  // A suspended order may start another, but can't come back while that runs.
  ASSERT_EQ(3u, Act<CSuspendOrderAction>(rig, 30, 3).size());
  ASSERT_EQ(3u, Act<CStartOrderAction>(rig, 31, 1).size());
  EXPECT_EQ(Refused(32), Act<CResumeOrderAction>(rig, 32, 3));

  // The driver's reason goes out with the code; without one the code goes
  // alone. A suspended order may be given up too.
  EXPECT_EQ(Lines({Ack(40, 1), Workflow(2, 0, 302, "too far"),
                   OrderLine("COrderModifiedEvent", 2, 3, 6, " Remote=false")}),
            WithReason<CRejectOrderAction>(rig, 40, 2, "too far"));
  EXPECT_EQ(Lines({Ack(41, 1), Workflow(3, 0, 301, "flat tyre"),
                   OrderLine("COrderModifiedEvent", 3, 4, 5, " Remote=false")}),
            WithReason<CCancelOrderAction>(rig, 41, 3, "flat tyre"));
  EXPECT_EQ(Workflow(1, 0, 301), WithReason<CCancelOrderAction>(rig, 42, 1, "").at(1));
}

TEST(ApplicationOrdersTest, TheHundredAndFirstPushesOutTheOldestOfItsOwnKind) {
  ApplicationRig rig;
  // The oldest by arrival, not the smallest id, and the active one.
  NewOrder(rig, 500);
  Act<CMarkReadOrderAction>(rig, 1, 500);
  Act<CStartOrderAction>(rig, 2, 500);
  for (unsigned id = 1; id <= 99; ++id) {
    NewOrder(rig, id);
  }
  NewText(rig, 500, "oldest");
  for (unsigned id = 1; id <= 99; ++id) {
    NewText(rig, id, "m");
  }
  const auto full = [&rig] {
    return rig.database.orders.size() == 100 && rig.database.textMessages.size() == 100;
  };
  ASSERT_TRUE(full());  // the hundredth fits
  rig.log.Take();

  NewOrder(rig, 100);
  EXPECT_EQ(Lines({Workflow(500, 0, 501), "nav COrderDeletedEvent OrderId=500 Remote=true",
                   Workflow(100, 0, 101), OrderLine("COrderReceivedEvent", 100, 202, 0)}),
            Untimed(rig.log.Take()));
  EXPECT_TRUE(full());
  EXPECT_EQ(nullptr, rig.database.orders.GetActive());

  // Unlike an order, an evicted message isn't reported to the server.
  NewText(rig, 100, "newest");
  EXPECT_EQ(Lines({"nav CTextMessageDeletedEvent MsgId=500 Remote=true", TextWorkflow(100, 101),
                   Received(100, 203, "newest")}),
            rig.log.Take());
  EXPECT_TRUE(full());

  // A replacement at full capacity makes its own room: nothing is evicted,
  // and the order starts over with a new key.
  Act<CMarkReadOrderAction>(rig, 3, 50);
  NewOrder(rig, 50, true);
  EXPECT_EQ(Lines({"nav COrderDeletedEvent OrderId=50 Remote=true", Workflow(50, 0, 101),
                   OrderLine("COrderReceivedEvent", 50, 204, 1)}),
            Untimed(rig.log.Take()));
  EXPECT_TRUE(full());
}

TEST(ApplicationOrdersTest, LongValuesAreCutAndUpdatesLeaveAbsentFieldsReplaceSetOnesAndClearNullOnes) {
  ApplicationRig rig;
  // Seven full entries of 65 characters and separators make 461; an eighth
  // of 5 + 1 + 32 characters and its bar make exactly 500.
  const std::string s32(32, 'n');
  const std::string d32(32, '1');
  std::string book;
  std::string joined;
  for (int i = 0; i < 7; ++i) {
    book += R"({"1": ")" + s32 + "x" + R"(", "2": ")" + d32 + "9" + R"("}, )";
    joined += s32 + ";" + d32 + "|";
  }
  joined += "a b c;" + d32;  // separators inside an entry become blanks
  FromServer(rig, R"({"id": "NewOrderInMsg", "nodes": {"1": 1, "2": ")" + std::string(21, '2') +
                      R"(", "3": 0, "4": ")" + std::string(501, 'o') + R"(", "5": 0, "6": {"1": 100, "2": 200,
      "3": ")" + std::string(201, 'h') +
                      R"("}, "7": false, "8": 1000, "9": [)" + book + R"({"1": "a;b|c", "2": ")" + d32 +
                      R"("}]}})");
  rig.log.Take();
  const auto modified = [](const std::string& fields) {
    return Lines(
        {"nav COrderModifiedEvent Order_.Id=1 Order_.SKey=2 Order_.Type=1 Order_.State=0 "
         "Order_.RecvAt=T Order_.LMT=T Order_.AS=1 Order_.AAS=1 " +
         fields + " Remote=true"});
  };

  // Only the id: nothing changes, the navigation application hears of it anyway.
  FromServer(rig, R"({"id": "UpdateOrderInMsg", "nodes": {"1": 1}})");
  EXPECT_EQ(modified("Order_.Dest_.Lat=10 Order_.Dest_.Long=20 Order_.PA=946685800 Order_.Num=\"" +
                     std::string(20, '2') + "\" Order_.Text=\"" + std::string(500, 'o') + "\" Order_.TN=\"" +
                     joined + "\" Order_.DestDesc=\"" + std::string(200, 'h') + "\""),
            Untimed(rig.log.Take()));

  // Set fields replace, cut as on arrival.
  FromServer(rig, R"({"id": "UpdateOrderInMsg", "nodes": {"1": 1, "2": ")" + std::string(25, '7') +
                      R"(", "4": ")" + std::string(600, 't') + R"(", "6": {"1": -50, "2": 70, "3": ")" +
                      std::string(250, 'w') + R"("}, "8": 2000, "9": [{"2": "2"}, {"1": "B", "2": "3"}]}})");
  const std::string kept =
      " Order_.Num=\"" + std::string(20, '7') + "\" Order_.Text=\"" + std::string(500, 't');
  EXPECT_EQ(modified("Order_.Dest_.Lat=-5 Order_.Dest_.Long=7 Order_.PA=946686800" + kept +
                     "\" Order_.TN=\";2|B;3\" Order_.DestDesc=\"" + std::string(200, 'w') + "\""),
            Untimed(rig.log.Take()));

  FromServer(rig, R"({"id": "UpdateOrderInMsg", "nodes": {"1": 1, "6": null, "8": null, "9": null}})");
  EXPECT_EQ(modified("Order_.Dest_.Lat=0 Order_.Dest_.Long=0 Order_.PA=0" + kept +
                     "\" Order_.TN=\"\" Order_.DestDesc=\"\""),
            Untimed(rig.log.Take()));

  // A telephone string one character too long is left out; the entries stay.
  FromServer(rig, R"({"id": "UpdateOrderInMsg", "nodes": {"1": 1, "9": [)" + book +
                      R"({"1": "a;b|cd", "2": ")" + d32 + R"("}]}})");
  EXPECT_EQ(modified("Order_.Dest_.Lat=0 Order_.Dest_.Long=0 Order_.PA=0" + kept +
                     "\" Order_.TN=\"\" Order_.DestDesc=\"\""),
            Untimed(rig.log.Take()));
  EXPECT_EQ(8u, rig.database.orders.at(1).telephoneBook.size());

  // A finished order still takes changes; its state stays. Unknown ids are
  // ignored.
  Act<CMarkReadOrderAction>(rig, 1, 1);
  Act<CStartOrderAction>(rig, 2, 1);
  Act<CCompleteOrderAction>(rig, 3, 1);
  FromServer(rig, R"({"id": "UpdateOrderInMsg", "nodes": {"1": 1, "4": "new"}})");
  FromServer(rig, R"({"id": "UpdateOrderInMsg", "nodes": {"1": 2, "4": "nobody"}})");
  const Lines lines = rig.log.Take();
  ASSERT_EQ(1u, lines.size());
  EXPECT_NE(std::string::npos, lines[0].find("Order_.State=8 ")) << lines[0];
  EXPECT_NE(std::string::npos, lines[0].find("Order_.Text=\"new\" ")) << lines[0];
}

TEST(ApplicationOrdersTest, ServerCancellationsDropUnreadOrdersAndCancelReadOnes) {
  ApplicationRig rig;
  NewOrder(rig, 1);
  NewOrder(rig, 3);
  NewOrder(rig, 4);
  Act<CMarkReadOrderAction>(rig, 1, 3);
  Act<CMarkReadOrderAction>(rig, 2, 4);
  Act<CStartOrderAction>(rig, 3, 4);
  Act<CCompleteOrderAction>(rig, 4, 4);
  rig.log.Take();

  // The driver never saw 1: it goes. Read ones, completed included, turn
  // cancelled and stay. Already cancelled, or unknown: nothing at all.
  for (unsigned id : {1u, 3u, 4u, 3u, 77u}) {
    FromServer(rig, R"({"id": "CancelOrderInMsg", "nodes": {"1": )" + std::to_string(id) + "}}");
  }
  EXPECT_EQ(Lines({"nav COrderDeletedEvent OrderId=1 Remote=true",
                   OrderLine("COrderModifiedEvent", 3, 3, 5, " Remote=true"),
                   OrderLine("COrderModifiedEvent", 4, 4, 5, " Remote=true")}),
            Untimed(rig.log.Take()));
  EXPECT_EQ(2u, rig.database.orders.size());
}

TEST(ApplicationTextMessagesTest, AMessageIsKeptCutReplacedAndRefusedWhereItMust) {
  ApplicationRig rig;
  const uint32_t before = common::GetTime();
  NewText(rig, 7, "Call the office");
  const uint32_t after = common::GetTime();
  EXPECT_EQ(Lines({TextWorkflow(7, 101), Received(7, 2, "Call the office")}), rig.log.Take());
  const data::TextMessage& stored = rig.database.textMessages.at(7);
  EXPECT_LE(before, stored.arrivalTime);
  EXPECT_GE(after, stored.arrivalTime);
  EXPECT_EQ(stored.arrivalTime, stored.lastChangeTime);

  // Unread messages can't be deleted; a read one can't be read again (reading
  // and deleting themselves are the order-life scenario's).
  EXPECT_EQ(Refused(1), TextAct<CDeleteTextMessageAction>(rig, 1, 7));
  EXPECT_EQ(3u, TextAct<CMarkReadTextMessageAction>(rig, 2, 7).size());
  EXPECT_EQ(Refused(3), TextAct<CMarkReadTextMessageAction>(rig, 3, 7));
  EXPECT_EQ(Refused(4), TextAct<CMarkReadTextMessageAction>(rig, 4, 8));
  EXPECT_EQ(2u, TextAct<CDeleteTextMessageAction>(rig, 5, 7).size());
  EXPECT_TRUE(rig.database.textMessages.empty());
  EXPECT_EQ(Refused(6), TextAct<CDeleteTextMessageAction>(rig, 6, 7));

  // Long texts are cut, empty ones kept. The same id again: the old one goes,
  // the new one is unread with a new key.
  NewText(rig, 1, std::string(701, 'x'));
  NewText(rig, 2, "");
  EXPECT_EQ(Lines({TextWorkflow(1, 101), Received(1, 3, std::string(700, 'x')), TextWorkflow(2, 101),
                   Received(2, 4, "")}),
            rig.log.Take());
  TextAct<CMarkReadTextMessageAction>(rig, 7, 1);
  NewText(rig, 1, "again");
  EXPECT_EQ(Lines({"nav CTextMessageDeletedEvent MsgId=1 Remote=true", TextWorkflow(1, 101),
                   Received(1, 5, "again")}),
            rig.log.Take());
  EXPECT_EQ(2u, rig.database.textMessages.size());

  // The driver's texts go straight to the server, empty ones too, and are
  // neither kept nor given a key.
  EXPECT_EQ(Lines({Ack(9, 1), "server 0x0504 TextMessageEventOutMsg time=T linkAge=-1 text=\"\""}),
            Write(rig, 9, ""));
  EXPECT_EQ(2u, rig.database.textMessages.size());
  EXPECT_EQ(5u, rig.database.sortKeys.Current());
}

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

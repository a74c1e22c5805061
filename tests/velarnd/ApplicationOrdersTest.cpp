#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "bkcom/Actions.h"
#include "bkcom/Text.h"
#include "common/Time.h"
#include "velarnd/ApplicationHarness.h"

using velarndtest::ApplicationRig;
using velarndtest::Deliver;
using velarndtest::FromServer;
using velarndtest::Untimed;

namespace {

typedef std::vector<std::string> Lines;

// One order action of the driver; what the application sent in answer.
template <class T, class Setup>
Lines Act(ApplicationRig& rig, unsigned actionId, unsigned orderId, Setup setup) {
  velarndtest::OrderAction<T>(rig, actionId, orderId, setup);
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

// The smallest order the server may send: type 0 on the wire, no extras.
std::string PlainOrder(unsigned id, bool acceptance = false, unsigned mask = 0, unsigned type = 0) {
  return R"({"id": "NewOrderInMsg", "nodes": {"1": )" + std::to_string(id) + R"(, "2": "N", "3": )" +
         std::to_string(type) + R"(, "4": "T", "5": )" + std::to_string(mask) + R"(, "7": )" +
         (acceptance ? "true" : "false") + "}}";
}

Lines Acknowledged(unsigned actionId, unsigned error) {
  return {"nav CAcknowledge ActionId=" + std::to_string(actionId) + " Error=" + std::to_string(error)};
}

std::string Workflow(unsigned orderId, unsigned type, unsigned code, const std::string& text = "") {
  return "server 0x0503 OrderWorkflowEventOutMsg time=T linkAge=-1 " +
         (text.empty() ? std::string() : "text=\"" + text + "\" ") + "orderId=" + std::to_string(orderId) +
         " orderType=" + std::to_string(type) + " workflowCode=" + std::to_string(code);
}

}  // namespace

TEST(ApplicationOrdersTest, AnOrderLivesFromArrivalToDeletion) {
  ApplicationRig rig;
  const uint32_t before = common::GetTime();
  FromServer(rig, R"({"id": "NewOrderInMsg", "nodes": {"1": 1001, "2": "A-17", "3": 1, "4": "Deliver",
      "5": 63, "6": {"1": -48123456, "2": 11987654, "3": "Dock 4"}, "7": true, "8": 800000000,
      "9": [{"1": "Office", "2": "+49 1"}, {"2": "+49 2"}]}})");
  const uint32_t after = common::GetTime();

  // Wire type 1 is stored as 3 and goes back as 1; the mask keeps bits 0-4;
  // positions go out in hundred-thousandths, cut towards zero; the planned
  // arrival counts from 1970.
  const std::string tail =
      " Order_.AAS=31 Order_.Dest_.Lat=-4812345 Order_.Dest_.Long=1198765 Order_.PA=1746684800"
      " Order_.Num=\"A-17\" Order_.Text=\"Deliver\" Order_.TN=\"Office;+49 1|;+49 2\""
      " Order_.DestDesc=\"Dock 4\"";
  const std::string head = "Order_.Id=1001 Order_.SKey=2 Order_.Type=3 Order_.State=";
  EXPECT_EQ(Lines({Workflow(1001, 1, 101),
                   "nav COrderReceivedEvent " + head + "1 Order_.RecvAt=T Order_.LMT=T Order_.AS=1" + tail}),
            Untimed(rig.log.Take()));
  const data::Order& stored = rig.database.orders.at(1001);
  EXPECT_LE(before, stored.arrivalTime);
  EXPECT_GE(after, stored.arrivalTime);
  EXPECT_EQ(stored.arrivalTime, stored.lastChangeTime);

  auto step = [&](unsigned actionId, unsigned code, int state, int activeState) {
    return Lines({Acknowledged(actionId, 1)[0], Workflow(1001, 1, code),
                  "nav COrderModifiedEvent " + head + std::to_string(state) +
                      " Order_.RecvAt=T Order_.LMT=T Order_.AS=" + std::to_string(activeState) + tail +
                      " Remote=false"});
  };
  EXPECT_EQ(step(11, 102, 2, 1), Act<CMarkReadOrderAction>(rig, 11, 1001));
  EXPECT_EQ(step(12, 103, 4, 1), Act<CAcceptOrderAction>(rig, 12, 1001));
  EXPECT_EQ(step(13, 201, 9, 1), Act<CStartOrderAction>(rig, 13, 1001));
  EXPECT_EQ(step(14, 205, 9, 16), ChangeActiveState(rig, 14, 1001, 16));
  EXPECT_EQ(step(15, 303, 7, 16), Act<CSuspendOrderAction>(rig, 15, 1001));
  // Resuming keeps the phase the order was in.
  EXPECT_EQ(step(16, 304, 9, 16), Act<CResumeOrderAction>(rig, 16, 1001));
  EXPECT_EQ(step(17, 202, 9, 2), ChangeActiveState(rig, 17, 1001, 2));
  EXPECT_EQ(step(18, 401, 8, 2), Act<CCompleteOrderAction>(rig, 18, 1001));
  // Deleting tells the server nothing.
  EXPECT_EQ(Lines({Acknowledged(19, 1)[0], "nav COrderDeletedEvent OrderId=1001 Remote=false"}),
            Act<CDeleteOrderAction>(rig, 19, 1001));
  EXPECT_TRUE(rig.database.orders.empty());
}

TEST(ApplicationOrdersTest, RefusedActionsChangeNothingAndSendOnlyTheRefusal) {
  ApplicationRig rig;
  FromServer(rig, PlainOrder(1));
  FromServer(rig, PlainOrder(2, true));
  FromServer(rig, PlainOrder(3, false, 0));  // mask 0 from the server: only bit 0
  Act<CMarkReadOrderAction>(rig, 1, 1);
  Act<CMarkReadOrderAction>(rig, 2, 2);
  Act<CMarkReadOrderAction>(rig, 3, 3);
  ASSERT_EQ(3u, Act<CStartOrderAction>(rig, 4, 3).size());
  ASSERT_EQ(data::Order::StateRead, rig.database.orders.at(1).state);
  ASSERT_EQ(data::Order::StateReadToAccept, rig.database.orders.at(2).state);
  ASSERT_EQ(data::Order::StateActive, rig.database.orders.at(3).state);
  const data::OrderList snapshot = rig.database.orders;

  EXPECT_EQ(Acknowledged(10, 2), Act<CMarkReadOrderAction>(rig, 10, 1));
  EXPECT_EQ(Acknowledged(11, 2), Act<CAcceptOrderAction>(rig, 11, 1));
  EXPECT_EQ(Acknowledged(12, 2), WithReason<CRejectOrderAction>(rig, 12, 1, "no"));
  EXPECT_EQ(Acknowledged(13, 2), WithReason<CCancelOrderAction>(rig, 13, 2, "no"));  // must be rejected
  EXPECT_EQ(Acknowledged(14, 2), Act<CStartOrderAction>(rig, 14, 2));
  EXPECT_EQ(Acknowledged(15, 2), Act<CStartOrderAction>(rig, 15, 1));  // 3 is active
  EXPECT_EQ(Acknowledged(16, 2), Act<CSuspendOrderAction>(rig, 16, 1));
  EXPECT_EQ(Acknowledged(17, 2), Act<CResumeOrderAction>(rig, 17, 1));
  EXPECT_EQ(Acknowledged(18, 2), Act<CCompleteOrderAction>(rig, 18, 1));
  EXPECT_EQ(Acknowledged(19, 2), ChangeActiveState(rig, 19, 3, 1));  // the present phase
  EXPECT_EQ(Acknowledged(20, 2), ChangeActiveState(rig, 20, 3, 2));  // outside the mask
  EXPECT_EQ(Acknowledged(21, 2), ChangeActiveState(rig, 21, 3, 0));  // no bit
  EXPECT_EQ(Acknowledged(22, 2), ChangeActiveState(rig, 22, 3, 3));  // two bits
  EXPECT_EQ(Acknowledged(23, 2), ChangeActiveState(rig, 23, 1, 1));  // not active
  EXPECT_EQ(Acknowledged(24, 2), Act<CDeleteOrderAction>(rig, 24, 1));
  EXPECT_EQ(Acknowledged(25, 2), Act<CDeleteOrderAction>(rig, 25, 3));
  EXPECT_EQ(Acknowledged(26, 2), Act<CMarkReadOrderAction>(rig, 26, 99));
  EXPECT_EQ(Acknowledged(27, 2), Act<CDeleteOrderAction>(rig, 27, 99));
  ASSERT_EQ(snapshot.size(), rig.database.orders.size());
  for (const auto& entry : snapshot) {
    const data::Order& now = rig.database.orders.at(entry.first);
    EXPECT_EQ(entry.second.state, now.state) << entry.first;
    EXPECT_EQ(entry.second.activeState, now.activeState) << entry.first;
    EXPECT_EQ(entry.second.lastChangeTime, now.lastChangeTime) << entry.first;
  }

  // A suspended order may start another, but can't come back while that runs.
  ASSERT_EQ(3u, Act<CSuspendOrderAction>(rig, 30, 3).size());
  ASSERT_EQ(3u, Act<CStartOrderAction>(rig, 31, 1).size());
  EXPECT_EQ(Acknowledged(32, 2), Act<CResumeOrderAction>(rig, 32, 3));
  EXPECT_EQ(data::Order::StateSuspended, rig.database.orders.at(3).state);
}

TEST(ApplicationOrdersTest, RejectAndCancelCarryTheDriversReason) {
  ApplicationRig rig;
  FromServer(rig, PlainOrder(5, true, 0, 2));  // wire type 2 stays 2
  FromServer(rig, PlainOrder(6));
  FromServer(rig, PlainOrder(7));
  Act<CMarkReadOrderAction>(rig, 1, 5);
  Act<CMarkReadOrderAction>(rig, 2, 6);
  Act<CMarkReadOrderAction>(rig, 3, 7);
  Act<CStartOrderAction>(rig, 4, 7);
  Act<CSuspendOrderAction>(rig, 5, 7);

  Lines lines = WithReason<CRejectOrderAction>(rig, 10, 5, "too far");
  ASSERT_EQ(3u, lines.size());
  EXPECT_EQ(Acknowledged(10, 1)[0], lines[0]);
  EXPECT_EQ(Workflow(5, 2, 302, "too far"), lines[1]);
  EXPECT_NE(std::string::npos, lines[2].find("Order_.Type=2 Order_.State=6 ")) << lines[2];

  // Without a reason the code goes out alone.
  lines = WithReason<CCancelOrderAction>(rig, 11, 6, "");
  ASSERT_EQ(3u, lines.size());
  EXPECT_EQ(Workflow(6, 0, 301), lines[1]);
  EXPECT_NE(std::string::npos, lines[2].find("Order_.Type=1 Order_.State=5 ")) << lines[2];

  // A suspended order may be given up too.
  lines = WithReason<CCancelOrderAction>(rig, 12, 7, "flat tyre");
  ASSERT_EQ(3u, lines.size());
  EXPECT_EQ(Workflow(7, 0, 301, "flat tyre"), lines[1]);
  EXPECT_EQ(data::Order::StateCancelled, rig.database.orders.at(7).state);
}

TEST(ApplicationOrdersTest, TheHundredAndFirstOrderPushesOutTheOldestEvenWhenActive) {
  ApplicationRig rig;
  // The oldest by arrival, not the smallest id, and the active one.
  FromServer(rig, PlainOrder(500));
  Act<CMarkReadOrderAction>(rig, 1, 500);
  Act<CStartOrderAction>(rig, 2, 500);
  for (unsigned id = 1; id <= 98; ++id) {
    FromServer(rig, PlainOrder(id));
  }
  rig.log.Take();

  FromServer(rig, PlainOrder(99));  // the hundredth fits
  Lines lines = rig.log.Take();
  ASSERT_EQ(2u, lines.size());
  EXPECT_EQ(Workflow(99, 0, 101), lines[0]);
  ASSERT_EQ(100u, rig.database.orders.size());

  FromServer(rig, PlainOrder(100));
  lines = rig.log.Take();
  ASSERT_EQ(4u, lines.size());
  EXPECT_EQ(Workflow(500, 0, 501), lines[0]);
  EXPECT_EQ("nav COrderDeletedEvent OrderId=500 Remote=true", lines[1]);
  EXPECT_EQ(Workflow(100, 0, 101), lines[2]);
  EXPECT_EQ(0u, lines[3].find("nav COrderReceivedEvent Order_.Id=100 Order_.SKey=102 ")) << lines[3];
  EXPECT_EQ(100u, rig.database.orders.size());
  EXPECT_EQ(0u, rig.database.orders.count(500));
  EXPECT_EQ(nullptr, rig.database.orders.GetActive());

  // A replacement at full capacity makes its own room: nothing is evicted,
  // and the order starts over with a new key.
  Act<CMarkReadOrderAction>(rig, 3, 50);
  FromServer(rig, PlainOrder(50, true));
  lines = Untimed(rig.log.Take());
  ASSERT_EQ(3u, lines.size());
  EXPECT_EQ("nav COrderDeletedEvent OrderId=50 Remote=true", lines[0]);
  EXPECT_EQ(Workflow(50, 0, 101), lines[1]);
  EXPECT_EQ(
      0u, lines[2].find("nav COrderReceivedEvent Order_.Id=50 Order_.SKey=103 Order_.Type=1 Order_.State=1 "))
      << lines[2];
  EXPECT_EQ(100u, rig.database.orders.size());
  EXPECT_EQ(1u, rig.database.orders.count(1));

  // Order 1 is the oldest now.
  FromServer(rig, PlainOrder(101));
  lines = rig.log.Take();
  ASSERT_EQ(4u, lines.size());
  EXPECT_EQ(Workflow(1, 0, 501), lines[0]);
}

TEST(ApplicationOrdersTest, ServerUpdatesLeaveAbsentFieldsReplaceSetOnesAndClearNullOnes) {
  ApplicationRig rig;
  FromServer(rig, R"({"id": "NewOrderInMsg", "nodes": {"1": 1, "2": "A", "3": 0, "4": "old", "5": 0,
      "6": {"1": 100, "2": 200, "3": "Here"}, "7": false, "8": 1000, "9": [{"1": "X", "2": "1"}]}})");
  const std::string unchanged =
      "nav COrderModifiedEvent Order_.Id=1 Order_.SKey=2 Order_.Type=1 Order_.State=0 Order_.RecvAt=T "
      "Order_.LMT=T Order_.AS=1 Order_.AAS=1 Order_.Dest_.Lat=10 Order_.Dest_.Long=20 Order_.PA=946685800 "
      "Order_.Num=\"A\" Order_.Text=\"old\" Order_.TN=\"X;1\" Order_.DestDesc=\"Here\" Remote=true";
  rig.log.Take();

  // Only the id: nothing changes, the navigation application hears of it anyway.
  FromServer(rig, R"({"id": "UpdateOrderInMsg", "nodes": {"1": 1}})");
  EXPECT_EQ(Lines({unchanged}), Untimed(rig.log.Take()));

  const std::string number(25, '7');
  const std::string text(600, 't');
  const std::string where(250, 'w');
  FromServer(rig, R"({"id": "UpdateOrderInMsg", "nodes": {"1": 1, "2": ")" + number + R"(", "4": ")" + text +
                      R"(", "6": {"1": -5, "2": 7, "3": ")" + where +
                      R"("}, "8": 2000, "9": [{"2": "2"}, {"1": "B", "2": "3"}]}})");
  Lines lines = Untimed(rig.log.Take());
  ASSERT_EQ(1u, lines.size());
  EXPECT_NE(std::string::npos,
            lines[0].find("Order_.State=0 Order_.RecvAt=T Order_.LMT=T Order_.AS=1 Order_.AAS=1 "
                          "Order_.Dest_.Lat=0 Order_.Dest_.Long=0 Order_.PA=946686800 "
                          "Order_.Num=\"" +
                          std::string(20, '7') + "\" "))
      << lines[0];
  EXPECT_NE(std::string::npos, lines[0].find("Order_.TN=\";2|B;3\" ")) << lines[0];
  const data::Order& order = rig.database.orders.at(1);
  EXPECT_EQ(std::string(500, 't'), order.text);
  EXPECT_EQ(std::string(200, 'w'), order.destinationDescription);
  EXPECT_EQ(data::Position(-5, 7), order.destination);

  FromServer(rig, R"({"id": "UpdateOrderInMsg", "nodes": {"1": 1, "6": null, "8": null, "9": null}})");
  lines = Untimed(rig.log.Take());
  ASSERT_EQ(1u, lines.size());
  EXPECT_NE(std::string::npos, lines[0].find("Order_.PA=0 ")) << lines[0];
  EXPECT_NE(std::string::npos, lines[0].find("Order_.TN=\"\" Order_.DestDesc=\"\" Remote=true")) << lines[0];
  EXPECT_EQ(data::Position(), order.destination);
  EXPECT_TRUE(order.telephoneBook.empty());
  EXPECT_EQ(std::string(500, 't'), order.text);  // absent: kept

  // A finished order still takes changes; its state stays.
  Act<CMarkReadOrderAction>(rig, 1, 1);
  Act<CStartOrderAction>(rig, 2, 1);
  Act<CCompleteOrderAction>(rig, 3, 1);
  FromServer(rig, R"({"id": "UpdateOrderInMsg", "nodes": {"1": 1, "4": "new"}})");
  lines = Untimed(rig.log.Take());
  ASSERT_EQ(1u, lines.size());
  EXPECT_NE(std::string::npos, lines[0].find("Order_.State=8 ")) << lines[0];
  EXPECT_NE(std::string::npos, lines[0].find("Order_.Text=\"new\" ")) << lines[0];

  FromServer(rig, R"({"id": "UpdateOrderInMsg", "nodes": {"1": 2, "4": "nobody"}})");
  EXPECT_TRUE(rig.log.Take().empty());
}

TEST(ApplicationOrdersTest, ServerCancellationsDropUnreadOrdersAndCancelReadOnes) {
  ApplicationRig rig;
  FromServer(rig, PlainOrder(1));
  FromServer(rig, PlainOrder(2, true));
  FromServer(rig, PlainOrder(3));
  FromServer(rig, PlainOrder(4));
  Act<CMarkReadOrderAction>(rig, 1, 3);
  Act<CMarkReadOrderAction>(rig, 2, 4);
  Act<CStartOrderAction>(rig, 3, 4);
  Act<CCompleteOrderAction>(rig, 4, 4);
  rig.log.Take();

  // The driver never saw these: they go.
  FromServer(rig, R"({"id": "CancelOrderInMsg", "nodes": {"1": 1}})");
  FromServer(rig, R"({"id": "CancelOrderInMsg", "nodes": {"1": 2}})");
  EXPECT_EQ(
      Lines({"nav COrderDeletedEvent OrderId=1 Remote=true", "nav COrderDeletedEvent OrderId=2 Remote=true"}),
      rig.log.Take());
  EXPECT_EQ(0u, rig.database.orders.count(1) + rig.database.orders.count(2));

  // Read ones, completed included, turn cancelled and stay.
  FromServer(rig, R"({"id": "CancelOrderInMsg", "nodes": {"1": 3}})");
  FromServer(rig, R"({"id": "CancelOrderInMsg", "nodes": {"1": 4}})");
  Lines lines = Untimed(rig.log.Take());
  ASSERT_EQ(2u, lines.size());
  EXPECT_EQ(0u,
            lines[0].find("nav COrderModifiedEvent Order_.Id=3 Order_.SKey=4 Order_.Type=1 Order_.State=5 "))
      << lines[0];
  EXPECT_NE(std::string::npos, lines[0].find(" Remote=true")) << lines[0];
  EXPECT_EQ(0u,
            lines[1].find("nav COrderModifiedEvent Order_.Id=4 Order_.SKey=5 Order_.Type=1 Order_.State=5 "))
      << lines[1];
  EXPECT_EQ(data::Order::StateCancelled, rig.database.orders.at(3).state);
  EXPECT_EQ(data::Order::StateCancelled, rig.database.orders.at(4).state);

  // Already cancelled, or unknown: nothing at all.
  FromServer(rig, R"({"id": "CancelOrderInMsg", "nodes": {"1": 3}})");
  FromServer(rig, R"({"id": "CancelOrderInMsg", "nodes": {"1": 77}})");
  EXPECT_TRUE(rig.log.Take().empty());

  // The driver clears it away.
  EXPECT_EQ(Lines({Acknowledged(9, 1)[0], "nav COrderDeletedEvent OrderId=3 Remote=false"}),
            Act<CDeleteOrderAction>(rig, 9, 3));
}

TEST(ApplicationOrdersTest, LongValuesAreCutAndTheTelephoneStringFitsOrStaysEmpty) {
  ApplicationRig rig;
  const std::string s32(32, 'n');
  const std::string d32(32, '1');
  // Seven full entries of 65 characters and separators make 461; an eighth
  // of 5 + 1 + 32 characters and its bar make exactly 500.
  std::string book;
  for (int i = 0; i < 7; ++i) {
    book += R"({"1": ")" + s32 + "x" + R"(", "2": ")" + d32 + "9" + R"("}, )";
  }
  FromServer(rig, R"({"id": "NewOrderInMsg", "nodes": {"1": 1, "2": ")" + std::string(21, '2') + R"(", "3": 0,
      "4": ")" + std::string(501, 't') +
                      R"(", "5": 0, "6": {"1": 0, "2": 0, "3": ")" + std::string(201, 'd') +
                      R"("}, "7": false, "9": [)" + book + R"({"1": "a;b|c", "2": ")" + d32 + R"("}]}})");
  const data::Order& order = rig.database.orders.at(1);
  EXPECT_EQ(std::string(20, '2'), order.number);
  EXPECT_EQ(std::string(500, 't'), order.text);
  EXPECT_EQ(std::string(200, 'd'), order.destinationDescription);
  ASSERT_EQ(8u, order.telephoneBook.size());
  EXPECT_EQ(s32, order.telephoneBook[0].name);
  EXPECT_EQ(d32, order.telephoneBook[0].number);
  Lines lines = rig.log.Take();
  ASSERT_EQ(2u, lines.size());
  std::string joined;
  for (int i = 0; i < 7; ++i) {
    joined += s32 + ";" + d32 + "|";
  }
  joined += "a b c;" + d32;  // separators inside an entry become blanks
  ASSERT_EQ(500u, joined.size());
  EXPECT_NE(std::string::npos, lines[1].find("Order_.TN=\"" + joined + "\"")) << lines[1];

  // One character more and the string is left out; the entries stay.
  FromServer(rig, R"({"id": "UpdateOrderInMsg", "nodes": {"1": 1, "9": [)" + book +
                      R"({"1": "a;b|cd", "2": ")" + d32 + R"("}]}})");
  lines = rig.log.Take();
  ASSERT_EQ(1u, lines.size());
  EXPECT_NE(std::string::npos, lines[0].find("Order_.TN=\"\" ")) << lines[0];
  EXPECT_EQ(8u, order.telephoneBook.size());
}

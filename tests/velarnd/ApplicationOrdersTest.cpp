#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "bkcom/Actions.h"
#include "bkcom/Text.h"
#include "common/Time.h"
#include "velarnd/ApplicationHarness.h"

using velarndtest::Ack;
using velarndtest::ApplicationRig;
using velarndtest::FromServer;
using velarndtest::NewOrder;
using velarndtest::OrderLine;
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

Lines Refused(unsigned actionId) { return {Ack(actionId, 2)}; }

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
    return Lines({Ack(actionId, 1), Workflow(1001, 1, code),
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
  EXPECT_EQ(Lines({Ack(19, 1), "nav COrderDeletedEvent OrderId=1001 Remote=false"}),
            Act<CDeleteOrderAction>(rig, 19, 1001));
  EXPECT_TRUE(rig.database.orders.empty());
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

TEST(ApplicationOrdersTest, TheHundredAndFirstOrderPushesOutTheOldestEvenWhenActive) {
  ApplicationRig rig;
  // The oldest by arrival, not the smallest id, and the active one.
  NewOrder(rig, 500);
  Act<CMarkReadOrderAction>(rig, 1, 500);
  Act<CStartOrderAction>(rig, 2, 500);
  for (unsigned id = 1; id <= 99; ++id) {
    NewOrder(rig, id);
  }
  ASSERT_EQ(100u, rig.database.orders.size());  // the hundredth fits
  rig.log.Take();

  NewOrder(rig, 100);
  EXPECT_EQ(Lines({Workflow(500, 0, 501), "nav COrderDeletedEvent OrderId=500 Remote=true",
                   Workflow(100, 0, 101), OrderLine("COrderReceivedEvent", 100, 102, 0)}),
            Untimed(rig.log.Take()));
  EXPECT_EQ(100u, rig.database.orders.size());
  EXPECT_EQ(nullptr, rig.database.orders.GetActive());

  // A replacement at full capacity makes its own room: nothing is evicted,
  // and the order starts over with a new key.
  Act<CMarkReadOrderAction>(rig, 3, 50);
  NewOrder(rig, 50, true);
  EXPECT_EQ(Lines({"nav COrderDeletedEvent OrderId=50 Remote=true", Workflow(50, 0, 101),
                   OrderLine("COrderReceivedEvent", 50, 103, 1)}),
            Untimed(rig.log.Take()));
  EXPECT_EQ(100u, rig.database.orders.size());
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

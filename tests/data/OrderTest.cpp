#include "data/Order.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "common/Time.h"
#include "data/OrderList.h"
#include "data/TextMessage.h"

namespace {

using data::Order;
using data::OrderList;

constexpr int X = -1;  // refused

// The workflow written out: the state after each operation, from states 0 to 9.
struct Operation {
  const char* name;
  std::function<bool(Order&, const OrderList&)> run;
  std::vector<int> next;
};

TEST(OrderTest, EveryOperationInEveryState) {
  const std::vector<Operation> operations = {
      {"MarkRead", [](Order& o, const OrderList&) { return o.MarkRead(); }, {3, 2, X, X, X, X, X, X, X, X}},
      {"Accept", [](Order& o, const OrderList&) { return o.Accept(); }, {X, X, 4, X, X, X, X, X, X, X}},
      {"Reject", [](Order& o, const OrderList&) { return o.Reject(); }, {X, X, 6, X, X, X, X, X, X, X}},
      {"Cancel(false)",
       [](Order& o, const OrderList&) { return o.Cancel(false); },
       {X, X, X, 5, 5, X, X, 5, X, 5}},
      {"Cancel(true)",
       [](Order& o, const OrderList&) { return o.Cancel(true); },
       {5, 5, 5, 5, 5, X, 5, 5, 5, 5}},
      {"Start", [](Order& o, const OrderList& l) { return o.Start(l); }, {X, X, X, 9, 9, X, X, X, X, X}},
      {"Suspend", [](Order& o, const OrderList&) { return o.Suspend(); }, {X, X, X, X, X, X, X, X, X, 7}},
      {"Resume", [](Order& o, const OrderList& l) { return o.Resume(l); }, {X, X, X, X, X, X, X, 9, X, X}},
      {"Complete", [](Order& o, const OrderList&) { return o.Complete(); }, {X, X, X, X, X, X, X, X, X, 8}},
  };
  const OrderList noneActive;
  for (const Operation& operation : operations) {
    for (int state = 0; state <= 9; ++state) {
      SCOPED_TRACE(std::string(operation.name) + " in state " + std::to_string(state));
      Order order(1, "N", "T");
      order.state = static_cast<Order::State>(state);
      order.lastChangeTime = 17;
      order.activeState = 4;
      order.allowedActiveStates = 6;
      EXPECT_EQ(state > 1, order.IsRead());
      const unsigned before = common::GetTime();
      const int expected = operation.next[static_cast<std::size_t>(state)];
      EXPECT_EQ(expected != X, operation.run(order, noneActive));
      if (expected == X) {
        EXPECT_EQ(state, order.state);
        EXPECT_EQ(17u, order.lastChangeTime);
        EXPECT_EQ(4u, order.activeState);
      } else {
        EXPECT_EQ(expected, order.state);
        EXPECT_LE(before, order.lastChangeTime);
        EXPECT_GE(common::GetTime(), order.lastChangeTime);
      }
    }
  }
}

// Which order may start or resume beside another is walked through in
// ApplicationInboxTest; here the phase each begins in.
TEST(OrderTest, StartBeginsInTheFirstPhaseAndResumeWhereItStopped) {
  OrderList orders;
  EXPECT_EQ(nullptr, orders.GetActive());
  orders.insert({2, Order(2, "two", "")});
  Order& order = orders.at(2);
  order.state = Order::StateRead;
  order.activeState = order.allowedActiveStates = 8;
  ASSERT_TRUE(order.Start(orders));
  EXPECT_EQ(1u, order.activeState);  // always allowed
  EXPECT_EQ(9u, order.allowedActiveStates);
  ASSERT_TRUE(order.ChangeActiveState(8) && order.Suspend());
  EXPECT_FALSE(orders.HasActive());
  ASSERT_TRUE(order.Resume(orders));
  EXPECT_EQ(8u, order.activeState);
  EXPECT_EQ(&order, static_cast<const OrderList&>(orders).GetActive());
}

TEST(OrderTest, ChangeActiveStateTakesOneAllowedNewBit) {
  Order order(1, "", "");
  order.state = Order::StateActive;
  order.allowedActiveStates = 1 | 2 | 16;
  order.lastChangeTime = 5;
  for (unsigned refused : {0u, 3u, 1u, 4u, 18u, 0x80000000u}) {
    EXPECT_FALSE(order.ChangeActiveState(refused)) << refused;
  }
  EXPECT_EQ(1u, order.activeState);
  EXPECT_EQ(5u, order.lastChangeTime);
  EXPECT_TRUE(order.ChangeActiveState(16));
  EXPECT_EQ(16u, order.activeState);
  EXPECT_NE(5u, order.lastChangeTime);
  order.state = Order::StateSuspended;
  EXPECT_FALSE(order.ChangeActiveState(2));
}

class Recorder : public data::IInboxEntryVisitor {
 public:
  void Visit(Order& order) override { seen += "order " + std::to_string(order.id) + ";"; }
  void Visit(data::TextMessage& message) override { seen += "message " + std::to_string(message.id) + ";"; }
  std::string seen;
};

TEST(OrderTest, TextMessagesAndTheVisitor) {
  data::TextMessage message(5, "hello");
  EXPECT_TRUE(message.MarkRead());
  EXPECT_TRUE(message.IsRead());
  message.lastChangeTime = 9;
  EXPECT_FALSE(message.MarkRead());
  EXPECT_EQ(9u, message.lastChangeTime);

  Order order(4, "", "");
  Recorder recorder;
  order.Accept(recorder);
  static_cast<data::InboxEntry&>(message).Accept(recorder);
  EXPECT_EQ("order 4;message 5;", recorder.seen);
  message.sortKey = 3;
  order.sortKey = 2;
  EXPECT_TRUE(message.IsNewerThan(order));
  EXPECT_FALSE(order.IsNewerThan(order));
  for (int state = 0; state <= 9; ++state) {
    order.state = static_cast<Order::State>(state);
    EXPECT_EQ(state == 5 || state == 6 || state == 8, order.IsFinished()) << state;
  }
}

}  // namespace

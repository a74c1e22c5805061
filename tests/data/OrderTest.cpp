#include "data/Order.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "common/Time.h"
#include "data/OrderList.h"
#include "data/TextMessage.h"

namespace {

using data::Order;
using data::OrderList;

constexpr int kRefused = -1;

struct Operation {
  std::string name;
  std::function<bool(Order&, const OrderList&)> run;
  // The state after the operation, for each state 0 to 9; kRefused if it is refused.
  std::vector<int> next;
};

// The workflow, written out per state.
const std::vector<Operation>& Operations() {
  static const std::vector<Operation> operations = {
      {"MarkRead",
       [](Order& o, const OrderList&) { return o.MarkRead(); },
       {3, 2, kRefused, kRefused, kRefused, kRefused, kRefused, kRefused, kRefused, kRefused}},
      {"Accept",
       [](Order& o, const OrderList&) { return o.Accept(); },
       {kRefused, kRefused, 4, kRefused, kRefused, kRefused, kRefused, kRefused, kRefused, kRefused}},
      {"Reject",
       [](Order& o, const OrderList&) { return o.Reject(); },
       {kRefused, kRefused, 6, kRefused, kRefused, kRefused, kRefused, kRefused, kRefused, kRefused}},
      {"Cancel by driver",
       [](Order& o, const OrderList&) { return o.Cancel(false); },
       {kRefused, kRefused, kRefused, 5, 5, kRefused, kRefused, 5, kRefused, 5}},
      {"Cancel by server",
       [](Order& o, const OrderList&) { return o.Cancel(true); },
       {5, 5, 5, 5, 5, kRefused, 5, 5, 5, 5}},
      {"Start",
       [](Order& o, const OrderList& list) { return o.Start(list); },
       {kRefused, kRefused, kRefused, 9, 9, kRefused, kRefused, kRefused, kRefused, kRefused}},
      {"Suspend",
       [](Order& o, const OrderList&) { return o.Suspend(); },
       {kRefused, kRefused, kRefused, kRefused, kRefused, kRefused, kRefused, kRefused, kRefused, 7}},
      {"Resume",
       [](Order& o, const OrderList& list) { return o.Resume(list); },
       {kRefused, kRefused, kRefused, kRefused, kRefused, kRefused, kRefused, 9, kRefused, kRefused}},
      {"Complete",
       [](Order& o, const OrderList&) { return o.Complete(); },
       {kRefused, kRefused, kRefused, kRefused, kRefused, kRefused, kRefused, kRefused, kRefused, 8}},
  };
  return operations;
}

TEST(OrderTest, EveryOperationInEveryState) {
  const OrderList noneActive;
  for (const Operation& operation : Operations()) {
    for (int state = 0; state <= 9; ++state) {
      Order order(1, "N", "T");
      order.state = static_cast<Order::State>(state);
      order.lastChangeTime = 17;
      order.activeState = 4;
      order.allowedActiveStates = 6;
      const unsigned before = common::GetTime();
      const bool done = operation.run(order, noneActive);
      const unsigned after = common::GetTime();
      const int expected = operation.next[static_cast<std::size_t>(state)];
      SCOPED_TRACE(operation.name + " in state " + std::to_string(state));
      EXPECT_EQ(expected != kRefused, done);
      if (expected == kRefused) {
        EXPECT_EQ(state, order.state);
        EXPECT_EQ(17u, order.lastChangeTime);
        EXPECT_EQ(4u, order.activeState);
        EXPECT_EQ(6u, order.allowedActiveStates);
      } else {
        EXPECT_EQ(expected, order.state);
        EXPECT_LE(before, order.lastChangeTime);
        EXPECT_GE(after, order.lastChangeTime);
      }
    }
  }
}

TEST(OrderTest, StartAndResumeWaitForTheActiveOrder) {
  OrderList orders;
  orders.insert({1, Order(1, "one", "")});
  orders.insert({2, Order(2, "two", "")});
  Order& first = orders.at(1);
  Order& second = orders.at(2);
  EXPECT_EQ(nullptr, orders.GetActive());
  EXPECT_FALSE(orders.HasActive());

  first.state = Order::StateAccepted;
  second.state = Order::StateRead;
  second.activeState = 8;
  second.allowedActiveStates = 8;
  ASSERT_TRUE(first.Start(orders));
  EXPECT_EQ(&first, orders.GetActive());
  EXPECT_FALSE(second.Start(orders));
  EXPECT_EQ(Order::StateRead, second.state);

  ASSERT_TRUE(first.Suspend());
  ASSERT_TRUE(second.Start(orders));
  // Start begins in the first phase, which is always allowed.
  EXPECT_EQ(1u, second.activeState);
  EXPECT_EQ(9u, second.allowedActiveStates);
  EXPECT_EQ(&second, static_cast<const OrderList&>(orders).GetActive());

  EXPECT_FALSE(first.Resume(orders));
  ASSERT_TRUE(second.ChangeActiveState(8));
  ASSERT_TRUE(second.Suspend());
  ASSERT_TRUE(second.Resume(orders));
  // Resume goes on in the phase where the order stopped.
  EXPECT_EQ(8u, second.activeState);
  EXPECT_EQ(9u, second.allowedActiveStates);
}

TEST(OrderTest, ChangeActiveStateTakesOneAllowedNewBit) {
  Order order(1, "", "");
  order.state = Order::StateActive;
  order.activeState = 1;
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
  EXPECT_FALSE(order.ChangeActiveState(16));

  order.state = Order::StateSuspended;
  EXPECT_FALSE(order.ChangeActiveState(2));
  EXPECT_EQ(16u, order.activeState);
}

TEST(OrderTest, ReadAndFinishedFollowTheState) {
  Order order(1, "", "");
  EXPECT_EQ(Order::Type1, order.type);
  EXPECT_EQ(1u, order.activeState);
  EXPECT_EQ(1u, order.allowedActiveStates);
  EXPECT_TRUE(order.destination.IsNull());
  for (int state = 0; state <= 9; ++state) {
    order.state = static_cast<Order::State>(state);
    EXPECT_EQ(state > 1, order.IsRead()) << state;
    EXPECT_EQ(state == 5 || state == 6 || state == 8, order.IsFinished()) << state;
    EXPECT_EQ(state == 9, order.IsActive()) << state;
  }
}

TEST(OrderTest, ServerCancelsACompletedOrderOnce) {
  Order order(1, "", "");
  order.state = Order::StateCompleted;
  EXPECT_TRUE(order.Cancel(true));
  EXPECT_EQ(Order::StateCancelled, order.state);
  EXPECT_FALSE(order.Cancel(true));
}

TEST(OrderTest, TextMessageMarkReadOnce) {
  data::TextMessage message(3, "hello");
  EXPECT_FALSE(message.IsRead());
  EXPECT_TRUE(message.MarkRead());
  EXPECT_TRUE(message.IsRead());
  EXPECT_NE(0u, message.lastChangeTime);
  message.lastChangeTime = 9;
  EXPECT_FALSE(message.MarkRead());
  EXPECT_EQ(9u, message.lastChangeTime);
}

class Recorder : public data::IInboxEntryVisitor {
 public:
  void Visit(Order& order) override { seen += "order " + std::to_string(order.id) + ";"; }
  void Visit(data::TextMessage& message) override { seen += "message " + std::to_string(message.id) + ";"; }
  std::string seen;
};

TEST(OrderTest, VisitorSeesTheEntrysKind) {
  Order order(4, "", "");
  data::TextMessage message(5, "");
  data::InboxEntry* entries[] = {&order, &message};
  Recorder recorder;
  for (data::InboxEntry* entry : entries) {
    entry->Accept(recorder);
  }
  EXPECT_EQ("order 4;message 5;", recorder.seen);
  message.sortKey = 3;
  order.sortKey = 2;
  EXPECT_TRUE(message.IsNewerThan(order));
  EXPECT_FALSE(order.IsNewerThan(message));
  EXPECT_FALSE(order.IsNewerThan(order));
}

}  // namespace

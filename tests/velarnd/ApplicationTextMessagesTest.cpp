#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "bkcom/Actions.h"
#include "bkcom/Text.h"
#include "common/Time.h"
#include "velarnd/ApplicationHarness.h"

using velarndtest::Ack;
using velarndtest::ApplicationRig;
using velarndtest::Deliver;
using velarndtest::NewOrder;
using velarndtest::NewText;

namespace {

typedef std::vector<std::string> Lines;

template <class T>
Lines Act(ApplicationRig& rig, unsigned actionId, unsigned msgId) {
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

std::string Workflow(unsigned id, unsigned code) {
  return "server 0x0508 TextMessageWorkflowEventOutMsg time=T linkAge=-1 messageId=" + std::to_string(id) +
         " workflowCode=" + std::to_string(code);
}

std::string Received(unsigned id, unsigned sortKey, const std::string& text) {
  return "nav CTextMessageReceivedEvent Msg_.Id=" + std::to_string(id) +
         " Msg_.SKey=" + std::to_string(sortKey) + " Msg_.Read=false Msg_.Text=\"" + text + "\"";
}

Lines Refused(unsigned actionId) { return {Ack(actionId, 2)}; }

}  // namespace

TEST(ApplicationTextMessagesTest, AMessageLivesFromArrivalToDeletion) {
  ApplicationRig rig;
  const uint32_t before = common::GetTime();
  NewText(rig, 7, "Call the office");
  const uint32_t after = common::GetTime();
  EXPECT_EQ(Lines({Workflow(7, 101), Received(7, 2, "Call the office")}), rig.log.Take());
  const data::TextMessage& stored = rig.database.textMessages.at(7);
  EXPECT_LE(before, stored.arrivalTime);
  EXPECT_GE(after, stored.arrivalTime);
  EXPECT_EQ(stored.arrivalTime, stored.lastChangeTime);

  // Unread messages can't be deleted; a read one can't be read again.
  EXPECT_EQ(Refused(1), Act<CDeleteTextMessageAction>(rig, 1, 7));
  EXPECT_EQ(Lines({Ack(2, 1), Workflow(7, 102),
                   "nav CTextMessageModifiedEvent Msg_.Id=7 Msg_.SKey=2 Msg_.Read=true Msg_.Text=\"Call the "
                   "office\" Remote=false"}),
            Act<CMarkReadTextMessageAction>(rig, 2, 7));
  EXPECT_EQ(Refused(3), Act<CMarkReadTextMessageAction>(rig, 3, 7));
  EXPECT_EQ(Refused(4), Act<CMarkReadTextMessageAction>(rig, 4, 8));
  // Deleting tells the server nothing.
  EXPECT_EQ(Lines({Ack(5, 1), "nav CTextMessageDeletedEvent MsgId=7 Remote=false"}),
            Act<CDeleteTextMessageAction>(rig, 5, 7));
  EXPECT_TRUE(rig.database.textMessages.empty());
  EXPECT_EQ(Refused(6), Act<CDeleteTextMessageAction>(rig, 6, 7));

  // Long texts are cut, empty ones kept. The same id again: the old one goes,
  // the new one is unread with a new key.
  NewText(rig, 1, std::string(701, 'x'));
  NewText(rig, 2, "");
  EXPECT_EQ(
      Lines({Workflow(1, 101), Received(1, 3, std::string(700, 'x')), Workflow(2, 101), Received(2, 4, "")}),
      rig.log.Take());
  Act<CMarkReadTextMessageAction>(rig, 7, 1);
  NewText(rig, 1, "again");
  EXPECT_EQ(
      Lines({"nav CTextMessageDeletedEvent MsgId=1 Remote=true", Workflow(1, 101), Received(1, 5, "again")}),
      rig.log.Take());
  EXPECT_EQ(2u, rig.database.textMessages.size());

  // The driver's texts go straight to the server, empty ones too, and are
  // neither kept nor given a key.
  EXPECT_EQ(Lines({Ack(8, 1), "server 0x0504 TextMessageEventOutMsg time=T linkAge=-1 text=\"On my way\""}),
            Write(rig, 8, "On my way"));
  EXPECT_EQ(Lines({Ack(9, 1), "server 0x0504 TextMessageEventOutMsg time=T linkAge=-1 text=\"\""}),
            Write(rig, 9, ""));
  EXPECT_EQ(2u, rig.database.textMessages.size());
  EXPECT_EQ(5u, rig.database.sortKeys.Current());
}

TEST(ApplicationTextMessagesTest, TheHundredAndFirstPushesOutTheOldestAndLeavesOrdersAlone) {
  ApplicationRig rig;
  for (unsigned id = 1; id <= 100; ++id) {
    NewOrder(rig, id);
  }
  NewText(rig, 500, "oldest");
  for (unsigned id = 1; id <= 99; ++id) {
    NewText(rig, id, "m");
  }
  ASSERT_EQ(100u, rig.database.textMessages.size());
  rig.log.Take();

  // Unlike an order, an evicted message isn't reported to the server.
  NewText(rig, 100, "newest");
  EXPECT_EQ(Lines({"nav CTextMessageDeletedEvent MsgId=500 Remote=true", Workflow(100, 101),
                   Received(100, 202, "newest")}),
            rig.log.Take());
  EXPECT_EQ(100u, rig.database.orders.size());

  // And the next order evicts an order, not a message.
  NewOrder(rig, 101);
  EXPECT_EQ("server 0x0503 OrderWorkflowEventOutMsg time=T linkAge=-1 orderId=1 orderType=0 workflowCode=501",
            rig.log.Take().at(0));
  EXPECT_EQ(100u, rig.database.textMessages.size());
}

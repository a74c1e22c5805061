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

namespace {

typedef std::vector<std::string> Lines;

std::string NewMessage(unsigned id, const std::string& text) {
  return R"({"id": "NewTextMessageInMsg", "nodes": {"1": )" + std::to_string(id) + R"(, "2": ")" + text +
         R"("}})";
}

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

std::string Refused(unsigned actionId) {
  return "nav CAcknowledge ActionId=" + std::to_string(actionId) + " Error=2";
}

}  // namespace

TEST(ApplicationTextMessagesTest, AMessageLivesFromArrivalToDeletion) {
  ApplicationRig rig;
  const uint32_t before = common::GetTime();
  FromServer(rig, NewMessage(7, "Call the office"));
  const uint32_t after = common::GetTime();
  EXPECT_EQ(Lines({Workflow(7, 101),
                   "nav CTextMessageReceivedEvent Msg_.Id=7 Msg_.SKey=2 Msg_.Read=false Msg_.Text=\"Call the "
                   "office\""}),
            rig.log.Take());
  const data::TextMessage& stored = rig.database.textMessages.at(7);
  EXPECT_LE(before, stored.arrivalTime);
  EXPECT_GE(after, stored.arrivalTime);
  EXPECT_EQ(stored.arrivalTime, stored.lastChangeTime);

  // Unread messages can't be deleted.
  EXPECT_EQ(Lines({Refused(1)}), Act<CDeleteTextMessageAction>(rig, 1, 7));
  EXPECT_EQ(
      Lines(
          {"nav CAcknowledge ActionId=2 Error=1", Workflow(7, 102),
           "nav CTextMessageModifiedEvent Msg_.Id=7 Msg_.SKey=2 Msg_.Read=true Msg_.Text=\"Call the office\" "
           "Remote=false"}),
      Act<CMarkReadTextMessageAction>(rig, 2, 7));
  EXPECT_TRUE(stored.read);
  EXPECT_EQ(Lines({Refused(3)}), Act<CMarkReadTextMessageAction>(rig, 3, 7));
  EXPECT_EQ(Lines({Refused(4)}), Act<CMarkReadTextMessageAction>(rig, 4, 8));
  // Deleting tells the server nothing.
  EXPECT_EQ(
      Lines({"nav CAcknowledge ActionId=5 Error=1", "nav CTextMessageDeletedEvent MsgId=7 Remote=false"}),
      Act<CDeleteTextMessageAction>(rig, 5, 7));
  EXPECT_TRUE(rig.database.textMessages.empty());
  EXPECT_EQ(Lines({Refused(6)}), Act<CDeleteTextMessageAction>(rig, 6, 7));
}

TEST(ApplicationTextMessagesTest, LongTextsAreCutEmptyOnesKeptAndASecondArrivalReplaces) {
  ApplicationRig rig;
  FromServer(rig, NewMessage(1, std::string(701, 'x')));
  EXPECT_EQ(std::string(700, 'x'), rig.database.textMessages.at(1).text);
  Lines lines = rig.log.Take();
  ASSERT_EQ(2u, lines.size());
  EXPECT_EQ("nav CTextMessageReceivedEvent Msg_.Id=1 Msg_.SKey=2 Msg_.Read=false Msg_.Text=\"" +
                std::string(700, 'x') + "\"",
            lines[1]);

  FromServer(rig, NewMessage(2, ""));
  EXPECT_EQ(Lines({Workflow(2, 101),
                   "nav CTextMessageReceivedEvent Msg_.Id=2 Msg_.SKey=3 Msg_.Read=false Msg_.Text=\"\""}),
            rig.log.Take());

  // The same id again: the old one goes, the new one is unread with a new key.
  Act<CMarkReadTextMessageAction>(rig, 1, 1);
  FromServer(rig, NewMessage(1, "again"));
  EXPECT_EQ(
      Lines({"nav CTextMessageDeletedEvent MsgId=1 Remote=true", Workflow(1, 101),
             "nav CTextMessageReceivedEvent Msg_.Id=1 Msg_.SKey=4 Msg_.Read=false Msg_.Text=\"again\""}),
      rig.log.Take());
  EXPECT_FALSE(rig.database.textMessages.at(1).read);
  EXPECT_EQ(2u, rig.database.textMessages.size());
}

TEST(ApplicationTextMessagesTest, TheHundredAndFirstPushesOutTheOldestAndLeavesOrdersAlone) {
  ApplicationRig rig;
  for (unsigned id = 1; id <= 100; ++id) {
    FromServer(rig, R"({"id": "NewOrderInMsg", "nodes": {"1": )" + std::to_string(id) +
                        R"(, "2": "N", "3": 0, "4": "T", "5": 0, "7": false}})");
  }
  FromServer(rig, NewMessage(500, "oldest"));
  for (unsigned id = 1; id <= 99; ++id) {
    FromServer(rig, NewMessage(id, "m"));
  }
  EXPECT_EQ(100u, rig.database.textMessages.size());
  EXPECT_EQ(100u, rig.database.orders.size());
  rig.log.Take();

  // Unlike an order, an evicted message isn't reported to the server.
  FromServer(rig, NewMessage(100, "newest"));
  EXPECT_EQ(
      Lines({"nav CTextMessageDeletedEvent MsgId=500 Remote=true", Workflow(100, 101),
             "nav CTextMessageReceivedEvent Msg_.Id=100 Msg_.SKey=202 Msg_.Read=false Msg_.Text=\"newest\""}),
      rig.log.Take());
  EXPECT_EQ(100u, rig.database.textMessages.size());
  EXPECT_EQ(100u, rig.database.orders.size());

  // And the next order evicts an order, not a message.
  FromServer(
      rig, R"({"id": "NewOrderInMsg", "nodes": {"1": 101, "2": "N", "3": 0, "4": "T", "5": 0, "7": false}})");
  const Lines lines = rig.log.Take();
  ASSERT_EQ(4u, lines.size());
  EXPECT_EQ("server 0x0503 OrderWorkflowEventOutMsg time=T linkAge=-1 orderId=1 orderType=0 workflowCode=501",
            lines[0]);
  EXPECT_EQ(100u, rig.database.textMessages.size());
}

TEST(ApplicationTextMessagesTest, TheDriversTextsGoStraightToTheServer) {
  ApplicationRig rig;
  EXPECT_EQ(Lines({"nav CAcknowledge ActionId=1 Error=1",
                   "server 0x0504 TextMessageEventOutMsg time=T linkAge=-1 text=\"On my way\""}),
            Write(rig, 1, "On my way"));
  EXPECT_EQ(Lines({"nav CAcknowledge ActionId=2 Error=1",
                   "server 0x0504 TextMessageEventOutMsg time=T linkAge=-1 text=\"\""}),
            Write(rig, 2, ""));
  EXPECT_TRUE(rig.database.textMessages.empty());
  EXPECT_EQ(1u, rig.database.sortKeys.Current());  // no key is spent on them
}

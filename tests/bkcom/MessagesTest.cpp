#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "CatalogueFields.h"
#include "bkcom/Actions.h"
#include "bkcom/Events.h"
#include "bkcom/MessageCatalogue.h"
#include "bkcom/Text.h"

namespace {

using bkcom::FieldInfo;
using bkcom::FieldKind;
using bkcom::MessageInfo;
using bkcomtest::FieldKeys;
using bkcomtest::FillMessage;
using bkcomtest::NumberValue;
using bkcomtest::ReadField;
using bkcomtest::TextValue;

std::unique_ptr<CVelarnMessage> Create(const MessageInfo& info) {
  return std::unique_ptr<CVelarnMessage>(info.create());
}

// Every class: decode a message of all its fields, encode the object again,
// and find every field with its type and value, written in the catalogue's
// order. Texts come one character too long, so each is cut to its buffer.
TEST(MessagesTest, EveryClassDecodesAndEncodesAllItsFieldsInOrder) {
  for (const MessageInfo& info : bkcom::MessageCatalogue()) {
    for (int seed = 0; seed < 2; ++seed) {
      SCOPED_TRACE(std::string(info.className) + " seed " + std::to_string(seed));
      CBrenikCommunicationMessage source;
      ASSERT_TRUE(source.Create());
      FillMessage(source, info, seed, "", "", 1);

      std::unique_ptr<CVelarnMessage> message = Create(info);
      ASSERT_EQ(info.id, message->GetMessageId());
      ASSERT_TRUE(message->Decode(source));
      ASSERT_TRUE(message->Encode());

      std::vector<std::string> expectedKeys;
      for (size_t i = 0; i < info.fields.size(); ++i) {
        const FieldInfo& field = info.fields[i];
        expectedKeys.push_back(field.name);
        long long number = 0;
        std::string text;
        ASSERT_TRUE(ReadField(message->message, field, number, text)) << field.name;
        if (field.kind == FieldKind::Text) {
          EXPECT_EQ(TextValue(field, static_cast<int>(i), seed), text) << field.name;
          EXPECT_EQ(static_cast<size_t>(field.textSize - 1), text.size()) << field.name;
        } else {
          EXPECT_EQ(NumberValue(field, static_cast<int>(i), seed), number) << field.name;
        }
      }
      // Encode doesn't write "MessageID": sending does.
      EXPECT_EQ(expectedKeys, FieldKeys(message->message));
    }
  }
}

// A reader never gets a message with a field missing or of another type.
TEST(MessagesTest, AnyMissingOrMistypedFieldFailsDecode) {
  for (const MessageInfo& info : bkcom::MessageCatalogue()) {
    for (const FieldInfo& field : info.fields) {
      SCOPED_TRACE(std::string(info.className) + "." + field.name);
      CBrenikCommunicationMessage missing;
      ASSERT_TRUE(missing.Create());
      FillMessage(missing, info, 0, field.name);
      EXPECT_FALSE(Create(info)->Decode(missing));

      CBrenikCommunicationMessage mistyped;
      ASSERT_TRUE(mistyped.Create());
      FillMessage(mistyped, info, 0, "", field.name);
      EXPECT_FALSE(Create(info)->Decode(mistyped));
    }
  }
}

TEST(MessagesTest, CatalogueNumbersNamesAndDirections) {
  const std::vector<MessageInfo>& catalogue = bkcom::MessageCatalogue();
  EXPECT_EQ(48u, catalogue.size());
  std::set<int> ids;
  int in = 0;
  for (const MessageInfo& info : catalogue) {
    EXPECT_TRUE(ids.insert(info.id).second) << info.id;
    EXPECT_GT(info.id, 0);
    EXPECT_LT(info.id, 128);  // "MessageID" is an int8
    EXPECT_EQ(&info, bkcom::FindMessageInfo(info.className));
    EXPECT_EQ(&info, bkcom::FindMessageInfo(info.id));
    if (info.direction != bkcom::Direction::Out) {
      ++in;
    }
    const std::string name = info.className;
    const bool isAction = name.size() > 6 && name.compare(name.size() - 6, 6, "Action") == 0;
    const bool isEvent = name.size() > 5 && name.compare(name.size() - 5, 5, "Event") == 0;
    EXPECT_TRUE(isAction || isEvent || name == "CAcknowledge") << name;
    // Every action but the acknowledgement starts with its "ActionId".
    if (isAction) {
      ASSERT_FALSE(info.fields.empty()) << name;
      EXPECT_EQ("ActionId", info.fields[0].name) << name;
    }
  }
  EXPECT_EQ(28, in);  // the classes that can come in
  for (int unused : {0, 14, 17, 25, 49, 50, 54, 127}) {
    EXPECT_EQ(nullptr, bkcom::FindMessageInfo(unused)) << unused;
  }
  EXPECT_EQ(nullptr, bkcom::FindMessageInfo("CNothingEvent"));
}

// Spot checks of names, sizes and the classes without records.
TEST(MessagesTest, RecordNamesTextSizesAndBareClasses) {
  const auto field = [](const char* className, const std::string& name) -> const FieldInfo* {
    for (const FieldInfo& info : bkcom::FindMessageInfo(className)->fields) {
      if (info.name == name) {
        return &info;
      }
    }
    return nullptr;
  };
  ASSERT_NE(nullptr, field("COrderReceivedEvent", "Order_Dest_Lat"));
  EXPECT_EQ(501, field("COrderModifiedEvent", "Order_Text")->textSize);
  EXPECT_EQ(501, field("COrderInfoEvent", "Order_TN")->textSize);
  EXPECT_EQ(21, field("COrderInfoEvent", "Order_Num")->textSize);
  EXPECT_EQ(701, field("CTextMessageInfoEvent", "Msg_Text")->textSize);
  EXPECT_EQ(101, field("CStatusInfoEvent", "Status_Text")->textSize);
  EXPECT_EQ(33, field("CBrenikInitVelarnAction", "Version")->textSize);
  EXPECT_EQ(17, field("CBrenikInitVelarnAction", "SNR")->textSize);
  EXPECT_EQ(201, field("CRejectOrderAction", "Reason")->textSize);
  EXPECT_EQ(FieldKind::Uint8, field("CGPSEvent", "Sat")->kind);
  EXPECT_EQ(FieldKind::Int32, field("CNavigationStateEvent", "RDst_Long")->kind);

  COrderDeletedEvent deleted;
  deleted.orderId = 1001;
  deleted.remote = true;
  ASSERT_TRUE(deleted.Encode());
  EXPECT_EQ((std::vector<std::string>{"OrderId", "Remote"}), FieldKeys(deleted.message));

  CKeepAliveEvent keepAlive;
  ASSERT_TRUE(keepAlive.Encode());
  EXPECT_TRUE(FieldKeys(keepAlive.message).empty());

  CGetConnectionStateAction bare;
  bare.actionId = 9;
  ASSERT_TRUE(bare.Encode());
  EXPECT_EQ(std::vector<std::string>{"ActionId"}, FieldKeys(bare.message));
}

// The members carry the right fields: an order event written from its
// members, read field by field.
TEST(MessagesTest, OrderRecordMembersGoToTheirFields) {
  COrderModifiedEvent event;
  event.order.id = 1001;
  event.order.sKey = 7;
  event.order.type = 2;
  event.order.state = 3;
  event.order.recvAt = 1700000000;
  event.order.lmt = 1700000100;
  event.order.as = 4;
  event.order.aas = 5;
  event.order.dest.lat = 5212345;
  event.order.dest.lon = -1312345;
  event.order.pa = 1700003600;
  bkcom::CopyText(event.order.num, "A-17");
  bkcom::CopyText(event.order.text, "pallets");
  bkcom::CopyText(event.order.tn, "0301234");
  bkcom::CopyText(event.order.destDesc, "depot");
  event.remote = true;
  ASSERT_TRUE(event.Encode());

  CBrenikCommunicationMessage& m = event.message;
  uint32_t u = 0;
  int32_t i = 0;
  int flag = 0;
  char text[64];
  const std::vector<std::pair<const char*, uint32_t>> numbers = {
      {"Order_Id", 1001},           {"Order_SKey", 7},         {"Order_Type", 2}, {"Order_State", 3},
      {"Order_RecvAt", 1700000000}, {"Order_LMT", 1700000100}, {"Order_AS", 4},   {"Order_AAS", 5},
      {"Order_PA", 1700003600}};
  for (const auto& number : numbers) {
    ASSERT_TRUE(m.GetUint32(number.first, &u)) << number.first;
    EXPECT_EQ(number.second, u) << number.first;
  }
  ASSERT_TRUE(m.GetInt32("Order_Dest_Lat", &i));
  EXPECT_EQ(5212345, i);
  ASSERT_TRUE(m.GetInt32("Order_Dest_Long", &i));
  EXPECT_EQ(-1312345, i);
  const std::vector<std::pair<const char*, const char*>> texts = {
      {"Order_Num", "A-17"}, {"Order_Text", "pallets"}, {"Order_TN", "0301234"}, {"Order_DestDesc", "depot"}};
  for (const auto& expected : texts) {
    ASSERT_TRUE(m.GetStr(expected.first, text, sizeof(text))) << expected.first;
    EXPECT_STREQ(expected.second, text);
  }
  ASSERT_TRUE(m.GetBool("Remote", &flag));
  EXPECT_EQ(1, flag);

  // And back into the members of another class of the same record.
  COrderReceivedEvent received;
  ASSERT_TRUE(received.Decode(m));
  EXPECT_EQ(1001u, received.order.id);
  EXPECT_EQ(-1312345, received.order.dest.lon);
  EXPECT_STREQ("depot", received.order.destDesc);
}

TEST(MessagesTest, MembersOfClassesWithManyFieldsOfOneType) {
  CBrenikCommunicationMessage source;
  ASSERT_TRUE(source.Create());
  source.SetUint32("ActionId", 12);
  source.SetUint32("KAInterval", 30);
  source.SetStr("Version", "1.0.5");
  source.SetStr("NCVersion", "nc-2.1");
  source.SetStr("NCBuild", "b77");
  source.SetStr("SNR", "SN123");
  CBrenikInitVelarnAction init;
  ASSERT_TRUE(init.Decode(source));
  EXPECT_EQ(12u, init.actionId);
  EXPECT_EQ(30u, init.kaInterval);
  EXPECT_STREQ("1.0.5", init.version);
  EXPECT_STREQ("nc-2.1", init.ncVersion);
  EXPECT_STREQ("b77", init.ncBuild);
  EXPECT_STREQ("SN123", init.snr);

  source.SetBool("Val", 1);
  source.SetInt32("Lat", 5250000);
  source.SetInt32("Long", 1340000);
  source.SetUint32("TS", 1700000000);
  source.SetUint16("Speed", 88);
  source.SetUint16("Course", 270);
  source.SetUint8("Sat", 9);
  CGPSEvent gps;
  ASSERT_TRUE(gps.Decode(source));
  EXPECT_TRUE(gps.val);
  EXPECT_EQ(5250000, gps.lat);
  EXPECT_EQ(1340000, gps.lon);
  EXPECT_EQ(1700000000u, gps.ts);
  EXPECT_EQ(88, gps.speed);
  EXPECT_EQ(270, gps.course);
  EXPECT_EQ(9, gps.sat);

  source.SetUint32("NavType", 2);
  source.SetInt32("UDst_Lat", 1);
  source.SetInt32("UDst_Long", 2);
  source.SetInt32("RDst_Lat", 3);
  source.SetInt32("RDst_Long", 4);
  source.SetUint32("ETA", 1700001000);
  source.SetUint32("Dist", 4200);
  CNavigationStateEvent nav;
  ASSERT_TRUE(nav.Decode(source));
  EXPECT_EQ(2u, nav.navType);
  EXPECT_EQ(1, nav.uDst.lat);
  EXPECT_EQ(2, nav.uDst.lon);
  EXPECT_EQ(3, nav.rDst.lat);
  EXPECT_EQ(4, nav.rDst.lon);
  EXPECT_EQ(1700001000u, nav.eta);
  EXPECT_EQ(4200u, nav.dist);

  CCurrentWorkingTimeStateEvent workingTime;
  workingTime.currentState = 1;
  workingTime.allowedActions = 2;
  workingTime.lastAction = 3;
  workingTime.startOfWork = 4;
  workingTime.endOfWork = 5;
  workingTime.startOfLastPause = 6;
  workingTime.endOfLastPause = 7;
  ASSERT_TRUE(workingTime.Encode());
  const char* names[] = {"CurrentState", "AllowedActions",   "LastAction",    "StartOfWork",
                         "EndOfWork",    "StartOfLastPause", "EndOfLastPause"};
  for (uint32_t n = 0; n < 7; ++n) {
    uint32_t value = 0;
    ASSERT_TRUE(workingTime.message.GetUint32(names[n], &value)) << names[n];
    EXPECT_EQ(n + 1, value) << names[n];
  }

  CFeaturesInfoEvent features;
  features.logbook = true;
  features.gpsFeed = true;
  ASSERT_TRUE(features.Encode());
  int flags[4] = {-1, -1, -1, -1};
  features.message.GetBool("WTR", &flags[0]);
  features.message.GetBool("Logbook", &flags[1]);
  features.message.GetBool("AskDriverId", &flags[2]);
  features.message.GetBool("GpsFeed", &flags[3]);
  EXPECT_EQ(0, flags[0]);
  EXPECT_NE(0, flags[1]);
  EXPECT_EQ(0, flags[2]);
  EXPECT_NE(0, flags[3]);

  CLogbookStateEvent logbook;
  logbook.logbook = {3, 12, true, 100, 200, 300, 400};
  ASSERT_TRUE(logbook.Encode());
  uint32_t odo = 0;
  uint32_t dist = 0;
  ASSERT_TRUE(logbook.message.GetUint32("Logbook_Odo", &odo));
  ASSERT_TRUE(logbook.message.GetUint32("Logbook_Dist", &dist));
  EXPECT_EQ(200u, odo);
  EXPECT_EQ(400u, dist);
}

// A message whose library message couldn't be made fails every field.
TEST(MessagesTest, EncodeFailsWithoutALibraryMessage) {
  CAcceptOrderAction action;
  action.message.Destroy();
  EXPECT_FALSE(action.Encode());
  CKeepAliveEvent bare;  // nothing to write, nothing to fail
  bare.message.Destroy();
  EXPECT_TRUE(bare.Encode());
}

TEST(MessagesTest, CopyTextCutsToTheBufferAndNotInsideACharacter) {
  char small[6];
  bkcom::CopyText(small, "hello world");
  EXPECT_STREQ("hello", small);
  bkcom::CopyText(small, "hi");
  EXPECT_STREQ("hi", small);
  // "abcd" and a two-byte character: the fifth byte would split it.
  bkcom::CopyText(small, "abcd\xc3\xa9");
  EXPECT_STREQ("abcd", small);
  bkcom::CopyText(small, "abc\xc3\xa9z");
  EXPECT_STREQ("abc\xc3\xa9", small);
  // A three-byte character that doesn't fit is left out whole.
  bkcom::CopyText(small, "abc\xe2\x82\xac");
  EXPECT_STREQ("abc", small);
  char one[1];
  bkcom::CopyText(one, "x");
  EXPECT_STREQ("", one);
}

}  // namespace

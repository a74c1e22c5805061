#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "CatalogueFields.h"
#include "bkcom/Actions.h"
#include "bkcom/BrenikCommunicationMessage.h"
#include "bkcom/Events.h"
#include "bkcom/MessageCatalogue.h"
#include "bkcom/Text.h"

namespace {

using bkcom::FieldInfo;
using bkcom::MessageInfo;
using bkcomtest::DescribeFields;
using bkcomtest::ExpectedFields;
using bkcomtest::FieldKeys;
using bkcomtest::FillMessage;

std::unique_ptr<CVelarnMessage> Create(const MessageInfo& info) {
  return std::unique_ptr<CVelarnMessage>(info.create());
}

std::string Encoded(CVelarnMessage& message) {
  EXPECT_TRUE(message.Encode());
  return DescribeFields(message.message, *bkcom::FindMessageInfo(message.GetMessageId()));
}

// Every class: decode a message of all its fields, encode the object again,
// and find every field with its type and value, written in the catalogue's
// order, and no other (a class without fields writes none). Texts come one
// character too long, so each is cut to its buffer. A class that can't encode
// is EventLoopTest.AFailedSendDropsTheRestAndDetaches.
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
      EXPECT_EQ(ExpectedFields(info, seed), Encoded(*message));

      std::vector<std::string> keys;  // Encode doesn't write "MessageID": sending does
      for (const FieldInfo& field : info.fields) {
        keys.push_back(field.name);
      }
      EXPECT_EQ(keys, FieldKeys(message->message));
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

TEST(MessagesTest, CatalogueNumbersAndDirections) {
  std::set<int> ids;
  int in = 0;
  for (const MessageInfo& info : bkcom::MessageCatalogue()) {
    EXPECT_TRUE(ids.insert(info.id).second) << info.id;
    EXPECT_TRUE(info.id > 0 && info.id < 128) << info.id;  // "MessageID" is an int8
    EXPECT_EQ(&info, bkcom::FindMessageInfo(info.className));
    in += info.direction != bkcom::Direction::Out ? 1 : 0;
  }
  EXPECT_EQ(48u, ids.size());
  EXPECT_EQ(28, in);  // the classes that can come in
  for (int unused : {0, 14, 17, 25, 49, 50, 54}) {
    EXPECT_EQ(nullptr, bkcom::FindMessageInfo(unused)) << unused;
  }
}

// The members carry the right fields, records their prefixes (nested too),
// texts their own buffer sizes.
TEST(MessagesTest, MembersGoToTheirFields) {
  COrderModifiedEvent order;
  order.order = {1001,       7,      2,         3,         1700000000, 1700000100, 4, 5, {5212345, -1312345},
                 1700003600, "A-17", "pallets", "0301234", "depot"};
  order.remote = true;
  EXPECT_EQ(
      "Order_Id=1001 Order_SKey=7 Order_Type=2 Order_State=3 Order_RecvAt=1700000000 Order_LMT=1700000100 "
      "Order_AS=4 Order_AAS=5 Order_Dest_Lat=5212345 Order_Dest_Long=-1312345 Order_PA=1700003600 "
      "Order_Num=A-17 "
      "Order_Text=pallets Order_TN=0301234 Order_DestDesc=depot Remote=1",
      Encoded(order));

  CBrenikInitVelarnAction init;
  init.actionId = 12;
  init.kaInterval = 30;
  bkcom::CopyText(init.version, "1.0.5");
  bkcom::CopyText(init.ncVersion, "nc-2.1");
  bkcom::CopyText(init.ncBuild, "b77");
  bkcom::CopyText(init.snr, "SN123");
  EXPECT_EQ("ActionId=12 KAInterval=30 Version=1.0.5 NCVersion=nc-2.1 NCBuild=b77 SNR=SN123", Encoded(init));

  CGPSEvent gps;
  gps.val = true;
  gps.lat = 5250000;
  gps.lon = 1340000;
  gps.ts = 1700000000;
  gps.speed = 88;
  gps.course = 270;
  gps.sat = 9;
  EXPECT_EQ("Val=1 Lat=5250000 Long=1340000 TS=1700000000 Speed=88 Course=270 Sat=9", Encoded(gps));

  CNavigationStateEvent nav;
  nav.navType = 2;
  nav.uDst = {1, 2};
  nav.rDst = {3, 4};
  nav.eta = 5;
  nav.dist = 6;
  EXPECT_EQ("NavType=2 UDst_Lat=1 UDst_Long=2 RDst_Lat=3 RDst_Long=4 ETA=5 Dist=6", Encoded(nav));

  CCurrentWorkingTimeStateEvent workingTime;
  workingTime.currentState = 1;
  workingTime.allowedActions = 2;
  workingTime.lastAction = 3;
  workingTime.startOfWork = 4;
  workingTime.endOfWork = 5;
  workingTime.startOfLastPause = 6;
  workingTime.endOfLastPause = 7;
  EXPECT_EQ(
      "CurrentState=1 AllowedActions=2 LastAction=3 StartOfWork=4 EndOfWork=5 StartOfLastPause=6 "
      "EndOfLastPause=7",
      Encoded(workingTime));

  CFeaturesInfoEvent features;
  features.logbook = true;
  features.gpsFeed = true;
  EXPECT_EQ("WTR=0 Logbook=1 AskDriverId=0 GpsFeed=1", Encoded(features));

  CLogbookStateEvent logbook;
  logbook.logbook = {3, 12, true, 100, 200, 300, 400};
  EXPECT_EQ(
      "Logbook_State=3 Logbook_AModes=12 Logbook_Valid=1 Logbook_Started=100 Logbook_Odo=200 Logbook_Dur=300 "
      "Logbook_Dist=400",
      Encoded(logbook));

  CTextMessageReceivedEvent text;
  text.msg = {55, 8, true, "hello"};
  EXPECT_EQ("Msg_Id=55 Msg_SKey=8 Msg_Read=1 Msg_Text=hello", Encoded(text));

  CStatusInfoEvent status;
  status.status = {7, 1, "arrived"};
  EXPECT_EQ("Status_Id=7 Status_Type=1 Status_Text=arrived", Encoded(status));

  // "Text" of each record is read into a buffer of its own size.
  EXPECT_EQ(501, bkcom::FindMessageInfo(COrderInfoEvent::kId)->fields[12].textSize);
  EXPECT_EQ(sizeof(text.msg.text), 701u);
  EXPECT_EQ(sizeof(status.status.text), 101u);
}

TEST(MessagesTest, CopyTextCutsToTheBufferAndNotInsideACharacter) {
  char small[6];
  bkcom::CopyText(small, "hello world");
  EXPECT_STREQ("hello", small);
  bkcom::CopyText(small, "hi");
  EXPECT_STREQ("hi", small);
  bkcom::CopyText(small, "abcd\xc3\xa9");  // the fifth byte would split the character
  EXPECT_STREQ("abcd", small);
  bkcom::CopyText(small, "abc\xc3\xa9z");
  EXPECT_STREQ("abc\xc3\xa9", small);
  bkcom::CopyText(small, "abc\xe2\x82\xac");  // three bytes don't fit in two
  EXPECT_STREQ("abc", small);
}

// The typed accessors of the wrapper, those no message class uses included:
// each reads back what its setter wrote, and fails on a missing key.
TEST(MessagesTest, WrapperAccessorsReadBackTheirValues) {
  CBrenikCommunicationMessage m;
  m.Create();
  ASSERT_TRUE(m.SetInt8("a", -8) && m.SetUint8("b", 200) && m.SetInt16("c", -16000) &&
              m.SetUint16("d", 65000) && m.SetInt32("e", -2000000000) && m.SetUint32("f", 4000000000u) &&
              m.SetLong64("g", -(1ll << 40)) && m.SetBool("h", 1) && m.SetReal("i", 2.5) &&
              m.SetStr("j", "text"));
  int8_t a = 0;
  uint8_t b = 0;
  int16_t c = 0;
  uint16_t d = 0;
  int32_t e = 0;
  uint32_t f = 0;
  int64_t g = 0;
  int h = 0;
  double i = 0;
  char j[8] = {};
  ASSERT_TRUE(m.GetInt8("a", &a) && m.GetUint8("b", &b) && m.GetInt16("c", &c) && m.GetUint16("d", &d) &&
              m.GetInt32("e", &e) && m.GetUint32("f", &f) && m.GetLong64("g", &g) && m.GetBool("h", &h) &&
              m.GetReal("i", &i) && m.GetStr("j", j, sizeof(j)));
  EXPECT_EQ("-8 200 -16000 65000 -2000000000 4000000000 -1099511627776 1 2.5 text",
            std::to_string(a) + " " + std::to_string(b) + " " + std::to_string(c) + " " + std::to_string(d) +
                " " + std::to_string(e) + " " + std::to_string(f) + " " + std::to_string(g) + " " +
                std::to_string(h) + " 2.5 " + j);
  EXPECT_EQ(2.5, i);
  EXPECT_FALSE(m.GetInt8("x", &a) || m.GetUint8("x", &b) || m.GetInt16("x", &c) || m.GetUint16("x", &d) ||
               m.GetInt32("x", &e) || m.GetUint32("x", &f) || m.GetLong64("x", &g) || m.GetBool("x", &h) ||
               m.GetReal("x", &i) || m.GetStr("x", j, sizeof(j)));
}

}  // namespace

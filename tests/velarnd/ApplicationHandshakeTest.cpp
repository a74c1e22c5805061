#include <gtest/gtest.h>

#include "bkcom/Actions.h"
#include "bkcom/Text.h"
#include "support/TempDir.h"
#include "velarnd/ApplicationHarness.h"

using velarndtest::ApplicationRig;
using velarndtest::Deliver;
using velarndtest::FromServer;
using velarndtest::ServerMessage;
using velarndtest::Untimed;

namespace {

void Init(CBrenikInitVelarnAction& init, const char* version, unsigned keepAlive = 0) {
  init.actionId = 1;
  init.kaInterval = keepAlive;
  bkcom::CopyText(init.version, version);
  bkcom::CopyText(init.ncVersion, "4.2");
  bkcom::CopyText(init.ncBuild, "977");
  bkcom::CopyText(init.snr, "SN-1");
}

std::string NewOrder(unsigned id, bool acceptance) {
  return R"({"id": "NewOrderInMsg", "nodes": {"1": )" + std::to_string(id) +
         R"(, "2": "N", "3": 0, "4": "T", "5": 0, "7": )" + (acceptance ? "true" : "false") + "}}";
}

}  // namespace

TEST(ApplicationHandshakeTest, GreetsThenListensOnlyForTheSameVersion) {
  ApplicationRig rig;
  rig.application.OnClientConnected();
  EXPECT_EQ(std::vector<std::string>(
                {"nav CVelarnInitBrenikAction ActionId=2 Version=\"1.0.5\" NavStateUpdate=60"}),
            rig.log.Take());

  CBrenikInitVelarnAction wrong;
  Init(wrong, "1.0.4");
  Deliver(rig.application, wrong);
  EXPECT_EQ(std::vector<std::string>({"nav CAcknowledge ActionId=1 Error=2", "driver Disconnect"}),
            rig.log.Take());

  CBrenikInitVelarnAction right;
  Init(right, "1.0.5");
  Deliver(rig.application, right);
  EXPECT_EQ(std::vector<std::string>({
                "nav CAcknowledge ActionId=1 Error=1",
                "nav CLogbookStateEvent Logbook_.State=2 Logbook_.AModes=10 Logbook_.Valid=false "
                "Logbook_.Started=0 Logbook_.Odo=0 Logbook_.Dur=0 Logbook_.Dist=0",
                "nav CPrivacyStateEvent PM=false",
                "driver NotifyParamChanged NCI",
                "driver Listen",
            }),
            rig.log.Take());
  EXPECT_EQ("4.2", rig.database.zu.NCVersion);
  EXPECT_EQ("SN-1", rig.database.zu.SNR);

  // The second greeting counts its id on.
  rig.application.OnClientConnected();
  EXPECT_EQ(std::vector<std::string>(
                {"nav CVelarnInitBrenikAction ActionId=3 Version=\"1.0.5\" NavStateUpdate=60"}),
            rig.log.Take());
}

TEST(ApplicationHandshakeTest, ResendsUnreadEntriesNewestFirstAndTheActiveOrder) {
  ApplicationRig rig;
  rig.application.OnReceivedMessage(
      rig.driver,
      ServerMessage(
          R"({"id": "NewOrderInMsg", "nodes": {"1": 1, "2": "A", "3": 2, "4": "one", "5": 0, "7": false}})"),
      true);
  rig.application.OnReceivedMessage(
      rig.driver, ServerMessage(R"({"id": "NewTextMessageInMsg", "nodes": {"1": 7, "2": "hi"}})"), true);
  rig.application.OnReceivedMessage(
      rig.driver,
      ServerMessage(
          R"({"id": "NewOrderInMsg", "nodes": {"1": 2, "2": "B", "3": 2, "4": "two", "5": 0, "7": false}})"),
      true);
  CMarkReadOrderAction read;
  read.actionId = 5;
  read.orderId = 1;
  Deliver(rig.application, read);
  CStartOrderAction start;
  start.actionId = 6;
  start.orderId = 1;
  Deliver(rig.application, start);
  rig.log.Take();

  CBrenikInitVelarnAction init;
  Init(init, "1.0.5");
  Deliver(rig.application, init);
  const std::vector<std::string> nav = rig.log.Of("nav");
  ASSERT_EQ(6u, nav.size());
  EXPECT_EQ("CAcknowledge ActionId=1 Error=1", nav[0]);
  EXPECT_EQ(0u, nav[1].find("COrderReceivedEvent Order_.Id=2 Order_.SKey=4 ")) << nav[1];
  EXPECT_EQ(0u, nav[2].find("CTextMessageReceivedEvent Msg_.Id=7 Msg_.SKey=3 ")) << nav[2];
  EXPECT_EQ(0u, nav[3].find("COrderModifiedEvent Order_.Id=1 Order_.SKey=2 ")) << nav[3];
  EXPECT_NE(std::string::npos, nav[3].find("Order_.State=9 ")) << nav[3];
  EXPECT_NE(std::string::npos, nav[3].find("Remote=false")) << nav[3];
}

TEST(ApplicationHandshakeTest, AGreetingMarksKeptFixesAsLastKnown) {
  ApplicationRig rig;
  rig.database.velarn.gps.status = 'A';
  rig.database.zu.gps.status = 'A';
  rig.application.OnClientConnected();
  EXPECT_EQ('L', rig.database.velarn.gps.status);
  EXPECT_EQ('L', rig.database.zu.gps.status);
  rig.database.velarn.gps.status = 'V';
  rig.application.OnClientConnected();
  EXPECT_EQ('V', rig.database.velarn.gps.status);
  EXPECT_EQ('L', rig.database.zu.gps.status);
}

TEST(ApplicationHandshakeTest, AfterARestartExactlyTheUnreadEntriesNewestFirstAndTheActiveOrderComeAgain) {
  testsupport::TempDir dir;
  unsigned arrival = 0;
  {
    ApplicationRig before;
    before.database.path = dir.File("velarnd.db");
    FromServer(before, NewOrder(1, false));  // key 2, read below
    FromServer(before, R"({"id": "NewTextMessageInMsg", "nodes": {"1": 7, "2": "seen"}})");  // 3, read
    FromServer(before, NewOrder(2, true));                                                   // 4
    FromServer(before, R"({"id": "NewTextMessageInMsg", "nodes": {"1": 8, "2": "news"}})");  // 5
    FromServer(before, NewOrder(3, false));  // 6, started below
    FromServer(before, NewOrder(4, false));  // 7
    CMarkReadOrderAction read;
    read.orderId = 1;
    Deliver(before.application, read);
    read.orderId = 3;
    Deliver(before.application, read);
    CMarkReadTextMessageAction readText;
    readText.msgId = 7;
    Deliver(before.application, readText);
    CStartOrderAction start;
    start.orderId = 3;
    Deliver(before.application, start);
    ASSERT_EQ(data::Order::StateActive, before.database.orders.at(3).state);
    arrival = before.database.orders.at(4).arrivalTime;
    before.application.OnStart();
    before.application.OnStop();  // writes the database
  }

  ApplicationRig after;
  after.database.path = dir.File("velarnd.db");
  ASSERT_TRUE(after.database.Load());
  EXPECT_EQ(arrival, after.database.orders.at(4).arrivalTime);
  after.application.OnClientConnected();
  CBrenikInitVelarnAction init;
  Init(init, "1.0.5");
  Deliver(after.application, init);
  const std::string plain =
      " Order_.RecvAt=T Order_.LMT=T Order_.AS=1 Order_.AAS=1 Order_.Dest_.Lat=0 "
      "Order_.Dest_.Long=0 Order_.PA=0 Order_.Num=\"N\" Order_.Text=\"T\" Order_.TN=\"\" "
      "Order_.DestDesc=\"\"";
  EXPECT_EQ(std::vector<std::string>({
                // The action counter starts anew with the process.
                "nav CVelarnInitBrenikAction ActionId=2 Version=\"1.0.5\" NavStateUpdate=60",
                "nav CAcknowledge ActionId=1 Error=1",
                "nav COrderReceivedEvent Order_.Id=4 Order_.SKey=7 Order_.Type=1 Order_.State=0" + plain,
                "nav CTextMessageReceivedEvent Msg_.Id=8 Msg_.SKey=5 Msg_.Read=false Msg_.Text=\"news\"",
                "nav COrderReceivedEvent Order_.Id=2 Order_.SKey=4 Order_.Type=1 Order_.State=1" + plain,
                "nav COrderModifiedEvent Order_.Id=3 Order_.SKey=6 Order_.Type=1 Order_.State=9" + plain +
                    " Remote=false",
                "nav CLogbookStateEvent Logbook_.State=2 Logbook_.AModes=10 Logbook_.Valid=false "
                "Logbook_.Started=0 Logbook_.Odo=0 Logbook_.Dur=0 Logbook_.Dist=0",
                "nav CPrivacyStateEvent PM=false",
                "driver NotifyParamChanged NCI",
                "driver Listen",
            }),
            Untimed(after.log.Take()));

  // A second answer on the same link repeats it all.
  Deliver(after.application, init);
  const std::vector<std::string> again = after.log.Of("nav");
  ASSERT_EQ(7u, again.size());
  EXPECT_EQ(0u, again[1].find("COrderReceivedEvent Order_.Id=4 ")) << again[1];
}

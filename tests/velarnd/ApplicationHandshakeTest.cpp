#include <gtest/gtest.h>

#include "bkcom/Actions.h"
#include "bkcom/Text.h"
#include "velarnd/ApplicationHarness.h"

using velarndtest::ApplicationRig;
using velarndtest::Deliver;
using velarndtest::ServerMessage;

namespace {

void Init(CBrenikInitVelarnAction& init, const char* version, unsigned keepAlive = 0) {
  init.actionId = 1;
  init.kaInterval = keepAlive;
  bkcom::CopyText(init.version, version);
  bkcom::CopyText(init.ncVersion, "4.2");
  bkcom::CopyText(init.ncBuild, "977");
  bkcom::CopyText(init.snr, "SN-1");
}

}  // namespace

TEST(ApplicationHandshakeTest, GreetsThenListensOnlyForTheSameVersion) {
  ApplicationRig rig;
  rig.application.OnClientConnected();
  EXPECT_EQ(std::vector<std::string>({"nav CVelarnInitBrenikAction ActionId=2 Version=\"1.0.5\" NavStateUpdate=60"}),
            rig.log.Take());

  CBrenikInitVelarnAction wrong;
  Init(wrong, "1.0.4");
  Deliver(rig.application, wrong);
  EXPECT_EQ(std::vector<std::string>({"nav CAcknowledge ActionId=1 Error=2", "driver Disconnect"}), rig.log.Take());

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
  EXPECT_EQ(std::vector<std::string>({"nav CVelarnInitBrenikAction ActionId=3 Version=\"1.0.5\" NavStateUpdate=60"}),
            rig.log.Take());
}

TEST(ApplicationHandshakeTest, ResendsUnreadEntriesNewestFirstAndTheActiveOrder) {
  ApplicationRig rig;
  rig.application.OnReceivedMessage(
      rig.driver,
      ServerMessage(R"({"id": "NewOrderInMsg", "nodes": {"1": 1, "2": "A", "3": 2, "4": "one", "5": 0, "7": false}})"),
      true);
  rig.application.OnReceivedMessage(
      rig.driver, ServerMessage(R"({"id": "NewTextMessageInMsg", "nodes": {"1": 7, "2": "hi"}})"), true);
  rig.application.OnReceivedMessage(
      rig.driver,
      ServerMessage(R"({"id": "NewOrderInMsg", "nodes": {"1": 2, "2": "B", "3": 2, "4": "two", "5": 0, "7": false}})"),
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

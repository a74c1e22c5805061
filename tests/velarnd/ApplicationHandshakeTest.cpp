#include <gtest/gtest.h>

#include "bkcom/Actions.h"
#include "support/TempDir.h"
#include "velarnd/ApplicationHarness.h"

using velarndtest::ApplicationRig;
using velarndtest::Deliver;
using velarndtest::Handshake;
using velarndtest::NewOrder;
using velarndtest::NewText;
using velarndtest::OrderAction;
using velarndtest::OrderLine;
using velarndtest::Untimed;
using Lines = std::vector<std::string>;

namespace {

const char kGreeting[] = "nav CVelarnInitBrenikAction ActionId=2 Version=\"1.0.5\" NavStateUpdate=60";
// What follows the unread entries once the versions agree.
const Lines kListening = {velarndtest::Logbook(2, 10), velarndtest::Privacy(false),
                          "driver NotifyParamChanged NCI", "driver Listen"};

}  // namespace

TEST(ApplicationHandshakeTest, GreetsThenListensOnlyForTheSameVersion) {
  ApplicationRig rig;
  // Fixes kept across the gap count as last known.
  rig.database.velarn.gps.status = 'A';
  rig.database.zu.gps.status = 'A';
  rig.application.OnClientConnected();
  EXPECT_EQ(Lines({kGreeting}), rig.log.Take());
  EXPECT_EQ('L', rig.database.velarn.gps.status);
  EXPECT_EQ('L', rig.database.zu.gps.status);

  Handshake(rig, "1.0.4");
  EXPECT_EQ(Lines({"nav CAcknowledge ActionId=1 Error=2", "driver Disconnect"}), rig.log.Take());

  Handshake(rig);
  EXPECT_EQ(Lines({"nav CAcknowledge ActionId=1 Error=1", velarndtest::Logbook(2, 10),
                   velarndtest::Privacy(false), "driver NotifyParamChanged NCI", "driver Listen"}),
            rig.log.Take());

  // The second greeting counts its id on; no fix stays none.
  rig.database.velarn.gps.status = 'V';
  rig.application.OnClientConnected();
  EXPECT_EQ(Lines({"nav CVelarnInitBrenikAction ActionId=3 Version=\"1.0.5\" NavStateUpdate=60"}),
            rig.log.Take());
  EXPECT_EQ('V', rig.database.velarn.gps.status);
}

TEST(ApplicationHandshakeTest, AfterARestartExactlyTheUnreadEntriesNewestFirstAndTheActiveOrderComeAgain) {
  testsupport::TempDir dir;
  unsigned arrival = 0;
  {
    ApplicationRig before;
    before.database.path = dir.File("velarnd.db");
    NewOrder(before, 1);         // key 2, read below
    NewText(before, 7, "seen");  // 3, read
    NewOrder(before, 2, true);   // 4
    NewText(before, 8, "news");  // 5
    NewOrder(before, 3);         // 6, started below
    NewOrder(before, 4);         // 7
    OrderAction<CMarkReadOrderAction>(before, 1, 1);
    OrderAction<CMarkReadOrderAction>(before, 2, 3);
    OrderAction<CStartOrderAction>(before, 3, 3);
    CMarkReadTextMessageAction readText;
    readText.msgId = 7;
    Deliver(before.application, readText);
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
  Handshake(after);
  Lines expected = {
      // The action counter starts anew with the process.
      kGreeting,
      "nav CAcknowledge ActionId=1 Error=1",
      OrderLine("COrderReceivedEvent", 4, 7, 0),
      "nav CTextMessageReceivedEvent Msg_.Id=8 Msg_.SKey=5 Msg_.Read=false Msg_.Text=\"news\"",
      OrderLine("COrderReceivedEvent", 2, 4, 1),
      OrderLine("COrderModifiedEvent", 3, 6, 9, " Remote=false"),
  };
  expected.insert(expected.end(), kListening.begin(), kListening.end());
  EXPECT_EQ(expected, Untimed(after.log.Take()));

  // A second answer on the same link repeats it all.
  Handshake(after);
  EXPECT_EQ(Lines(expected.begin() + 1, expected.end()), Untimed(after.log.Take()));
}

// The named parameters exchanged with the unit, the configuration (from the
// server directly or held by the unit as "ZUK") and the server's reset.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "bkcom/Actions.h"
#include "velarnd/ApplicationHarness.h"

using velarndtest::ApplicationRig;
using velarndtest::Bytes;
using velarndtest::ChangeWorkingTime;
using velarndtest::FromServer;
using velarndtest::Logbook;
using velarndtest::NewOrder;
using velarndtest::NewText;
using velarndtest::OrderAction;
using velarndtest::Privacy;
using velarndtest::ServerMessage;
using velarndtest::WorkingTime;
using Lines = std::vector<std::string>;

namespace {

common::Buffer Configuration(const std::string& nodes) {
  return ServerMessage(R"({"id": "ConfigurationInMsg", "nodes": )" + nodes + "}");
}

// The configuration as the unit holds it.
void Zuk(ApplicationRig& rig, const std::string& nodes) {
  rig.application.OnVelarnParamResponse(rig.driver, "ZUK", Configuration(nodes));
}

template <class List>
std::vector<unsigned> IdsOf(const List& list) {
  std::vector<unsigned> ids;
  for (const auto& entry : list) {
    ids.push_back(entry.first);
  }
  return ids;
}

const char* const kSameDriver =
    "server 0x0507 DriverIdChangedOutMsg time=T linkAge=0 driverId=0 previousDriverId=0";

}  // namespace

TEST(ApplicationParametersTest, UnitReadsReleaseCommandsAndNavigationInfo) {
  ApplicationRig rig;
  rig.application.OnZuParamRequest(rig.driver, "NCI");
  rig.application.OnZuParamRequest(rig.driver, "REL");
  rig.application.OnZuParamRequest(rig.driver, "CMD");
  rig.application.OnZuParamRequest(rig.driver, "rel");
  rig.application.OnZuParamRequest(rig.driver, "GPF");
  EXPECT_EQ(Lines({"driver SendParamResponse NCI \"//\"", "driver SendParamResponse REL \"vld0.0404\"",
                   "driver SendParamResponse CMD \"ORD,TXT,NAV\"", "driver SendParamNotFound rel",
                   "driver SendParamNotFound GPF"}),
            rig.log.Take());

  velarndtest::Handshake(rig);
  rig.log.Take();
  rig.application.OnZuParamRequest(rig.driver, "NCI");
  EXPECT_EQ(Lines({"driver SendParamResponse NCI \"4.2/977/SN-1\""}), rig.log.Take());
}

TEST(ApplicationParametersTest, GpsFeedFollowsTheUnitsParameterAndItsChanges) {
  ApplicationRig rig;
  rig.application.OnVelarnParamChanged(rig.driver, "GPF");
  rig.application.OnVelarnParamChanged(rig.driver, "ZUK");
  rig.application.OnVelarnParamChanged(rig.driver, "REL");
  EXPECT_EQ(Lines({"driver RequestParam GPF", "driver RequestParam ZUK"}), rig.log.Take());

  const std::string on = "nav CFeaturesInfoEvent WTR=false Logbook=false AskDriverId=false GpsFeed=true";
  const std::string off = "nav CFeaturesInfoEvent WTR=false Logbook=false AskDriverId=false GpsFeed=false";
  // Only a first byte 0 turns it off: the digit '0' is a wish for the feed.
  rig.application.OnVelarnParamResponse(rig.driver, "GPF", Bytes("0"));
  EXPECT_EQ(Lines({on, "gps Open", "nav CGPSFeedEvent Enabled=true"}), rig.log.Take());
  rig.application.OnVelarnParamResponse(rig.driver, "GPF", Bytes("\x01"));
  EXPECT_EQ(Lines({on}), rig.log.Take());

  rig.application.OnVelarnParamResponse(rig.driver, "GPF", Bytes(std::string("\0\x01", 2)));
  EXPECT_EQ(Lines({off, "gps Close", "nav CGPSFeedEvent Enabled=false"}), rig.log.Take());
  rig.application.OnVelarnParamResponse(rig.driver, "GPF", Bytes(""));
  EXPECT_EQ(Lines({off}), rig.log.Take());

  // A unit without the parameter doesn't want the feed.
  rig.application.OnVelarnParamResponse(rig.driver, "GPF", Bytes("\x01"));
  rig.log.Take();
  rig.application.OnVelarnParamNotFound(rig.driver, "GPF");
  EXPECT_EQ(Lines({off, "gps Close", "nav CGPSFeedEvent Enabled=false"}), rig.log.Take());
}

TEST(ApplicationParametersTest, ConfigurationRunsItsStepsAndKeepsWhatIsLeftOut) {
  ApplicationRig rig;
  rig.driver.connected = true;
  rig.application.OnConnected(rig.driver, true);
  rig.log.Take();

  Zuk(rig, R"({"1": true, "2": true, "3": true, "4": true, "5": true, "6": true, "7": 400, "8": 900,
               "10": true, "11": 0})");
  EXPECT_EQ(Lines({"nav CFeaturesInfoEvent WTR=true Logbook=true AskDriverId=true GpsFeed=false",
                   Logbook(2, 14), Privacy(false), "driver SetLogbookMode 3", kSameDriver}),
            rig.log.Take());
  // What the lines don't show.
  const data::ConfigParameters& config = rig.database.config;
  EXPECT_TRUE(config.etaEnabled && config.privacyEnabled);
  EXPECT_EQ(400u, config.etaIntervalHome);
  EXPECT_EQ(900u, config.etaIntervalRoaming);

  // A working day in a pause: the logbook follows into the private mode.
  ChangeWorkingTime(rig, 1, 2);
  ChangeWorkingTime(rig, 2, 8);
  rig.log.Take();

  // A configuration without keys changes nothing, and says so all the same.
  Zuk(rig, "{}");
  EXPECT_EQ(Lines({"nav CFeaturesInfoEvent WTR=true Logbook=true AskDriverId=true GpsFeed=false",
                   Logbook(8, 14), Privacy(false), "driver SetLogbookMode 2"}),
            rig.log.Take());

  // Without the driver's logbook the working time still sets the mode.
  Zuk(rig, R"({"2": false})");
  EXPECT_EQ("driver SetLogbookMode 2", rig.log.Take().back());

  // The clock switched off stops without a report to the server, and with
  // nobody left to choose the mode it returns to business.
  Zuk(rig, R"({"4": false})");
  EXPECT_EQ(Lines({"nav CFeaturesInfoEvent WTR=false Logbook=false AskDriverId=true GpsFeed=false",
                   WorkingTime(3, 2), Logbook(2, 14), Privacy(false), "driver SetLogbookMode 3"}),
            rig.log.Take());
  EXPECT_TRUE(config.etaEnabled && config.privacyEnabled);
  EXPECT_EQ(400u, config.etaIntervalHome);
}

TEST(ApplicationParametersTest, FirstConfigurationOfASessionDealsWithOlderEntriesByResetMode) {
  typedef std::vector<unsigned> Ids;
  for (unsigned mode : {0u, 1u, 2u, 3u}) {
    SCOPED_TRACE("reset mode " + std::to_string(mode));
    ApplicationRig rig;
    const std::string configuration = R"({"11": )" + std::to_string(mode) + "}";
    // The settings are told first (five lines with the clock switched off),
    // then the older entries are reported, and deleted, as the mode says.
    const auto first = [&](const std::string& orderIds, const std::string& textMessageIds,
                           const Lines& deleted) {
      Zuk(rig, configuration);
      Lines expected;
      if (mode == 1 || mode == 2) {
        expected.push_back("server 0x0580 NewVelarnConnectedOutMsg time=T orderIds=" + orderIds +
                           " textMessageIds=" + textMessageIds +
                           " release=\"vld0.0404\" resetMode=" + std::to_string(mode));
      }
      if (mode == 2) {
        expected.insert(expected.end(), deleted.begin(), deleted.end());
      }
      expected.push_back(kSameDriver);
      const Lines lines = rig.log.Take();
      ASSERT_EQ(expected.size() + 5, lines.size());
      EXPECT_EQ("driver SetLogbookMode 3", lines[4]);
      EXPECT_EQ(expected, Lines(lines.begin() + 5, lines.end()));
    };
    rig.driver.connected = true;
    NewOrder(rig, 2);
    NewText(rig, 7);
    NewOrder(rig, 1);
    // The active order is no exception.
    OrderAction<CMarkReadOrderAction>(rig, 1, 2);
    OrderAction<CStartOrderAction>(rig, 2, 2);
    rig.application.OnConnected(rig.driver, true);
    // Arrived after the session began, before its first configuration.
    NewOrder(rig, 5);
    NewText(rig, 3);
    rig.log.Take();

    first("[1,2]", "[7]",
          {"nav COrderDeletedEvent OrderId=1 Remote=true", "nav COrderDeletedEvent OrderId=2 Remote=true",
           "nav CTextMessageDeletedEvent MsgId=7 Remote=true"});
    EXPECT_EQ(mode == 2 ? Ids({5}) : Ids({1, 2, 5}), IdsOf(rig.database.orders));
    EXPECT_EQ(mode == 2 ? Ids({3}) : Ids({3, 7}), IdsOf(rig.database.textMessages));

    // A second configuration in the session, and one after a resumed
    // session, only apply their settings.
    Zuk(rig, configuration);
    rig.application.OnConnected(rig.driver, false);
    Zuk(rig, configuration);
    EXPECT_EQ(Lines(), rig.log.Of("server"));

    // A new session makes everything held so far older.
    rig.application.OnConnected(rig.driver, true);
    rig.log.Take();
    first(
        mode == 2 ? "[5]" : "[1,2,5]", mode == 2 ? "[3]" : "[3,7]",
        {"nav COrderDeletedEvent OrderId=5 Remote=true", "nav CTextMessageDeletedEvent MsgId=3 Remote=true"});
  }
}

TEST(ApplicationParametersTest, ResetEmptiesWhatItNamesInAscendingOrder) {
  ApplicationRig rig;
  NewOrder(rig, 9);
  NewOrder(rig, 4);
  NewText(rig, 8);
  NewText(rig, 6);
  rig.log.Take();

  const auto reset = [&](const std::string& nodes) {
    FromServer(rig, R"({"id": "ResetInMsg", "nodes": )" + nodes + "}");
  };
  reset("{}");
  reset(R"({"1": false, "2": false})");
  EXPECT_EQ(Lines(), rig.log.Take());

  reset(R"({"1": false, "2": true})");
  EXPECT_EQ(Lines({"nav CTextMessageDeletedEvent MsgId=6 Remote=true",
                   "nav CTextMessageDeletedEvent MsgId=8 Remote=true"}),
            rig.log.Take());

  reset(R"({"1": true})");
  EXPECT_EQ(
      Lines({"nav COrderDeletedEvent OrderId=4 Remote=true", "nav COrderDeletedEvent OrderId=9 Remote=true"}),
      rig.log.Take());
}

TEST(ApplicationParametersTest, UnitsHeldMessageIsObeyedButDroppedInSilenceWhenMissingOrUnparsable) {
  ApplicationRig rig;
  Zuk(rig, R"({"4": true})");
  rig.log.Take();

  // Key 3 holds an integer instead of a bool; the other bytes aren't a message.
  const common::Buffer wrongType = Configuration(R"({"3": 1, "4": false})");
  rig.application.OnVelarnParamResponse(rig.driver, "ZUK", wrongType);
  rig.application.OnVelarnParamResponse(rig.driver, "ZUK", Bytes("\x04\x05\xff"));
  // A missing configuration leaves the one in force too; other names are
  // ignored.
  rig.application.OnVelarnParamNotFound(rig.driver, "ZUK");
  rig.application.OnVelarnParamNotFound(rig.driver, "XYZ");
  rig.application.OnVelarnParamResponse(rig.driver, "XYZ", Bytes("\x01"));
  EXPECT_EQ(Lines(), rig.log.Take());
  EXPECT_TRUE(rig.database.config.workingTimeEnabled && rig.database.config.configured);

  // The same bytes from the data stream are reported to the server.
  rig.application.OnReceivedMessage(rig.driver, wrongType, true);
  const Lines lines = rig.log.Take();
  ASSERT_EQ(1u, lines.size());
  EXPECT_EQ(0u, lines[0].find("server 0x05ff ErrorOutMsg errorCode=1 ")) << lines[0];

  // Whatever server message the unit holds is carried out.
  rig.application.OnVelarnParamResponse(
      rig.driver, "ZUK", ServerMessage(R"({"id": "NewTextMessageInMsg", "nodes": {"1": 12, "2": "held"}})"));
  EXPECT_EQ(std::vector<unsigned>({12}), IdsOf(rig.database.textMessages));
}

// The named parameters exchanged with the unit, the configuration (from the
// server directly or held by the unit as "ZUK") and the server's reset.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "bkcom/Actions.h"
#include "bkcom/Text.h"
#include "velarnd/ApplicationHarness.h"

using velarndtest::ApplicationRig;
using velarndtest::ChangeWorkingTime;
using velarndtest::Configure;
using velarndtest::Deliver;
using velarndtest::OrderAction;
using velarndtest::ServerMessage;
using Lines = std::vector<std::string>;

namespace {

common::Buffer Bytes(const std::string& bytes) {
  common::Buffer buffer(32, 200);
  buffer.Append(bytes.data(), static_cast<unsigned>(bytes.size()));
  return buffer;
}

common::Buffer Configuration(const std::string& nodes) {
  return ServerMessage(R"({"id": "ConfigurationInMsg", "nodes": )" + nodes + "}");
}

// The configuration as the unit holds it.
void Zuk(ApplicationRig& rig, const std::string& nodes) {
  rig.application.OnVelarnParamResponse(rig.driver, "ZUK", Configuration(nodes));
}

void NewOrder(ApplicationRig& rig, unsigned id) {
  rig.application.OnReceivedMessage(
      rig.driver,
      ServerMessage(R"({"id": "NewOrderInMsg", "nodes": {"1": )" + std::to_string(id) +
                    R"(, "2": "N", "3": 2, "4": "job", "5": 0, "7": false}})"),
      true);
}

void NewText(ApplicationRig& rig, unsigned id) {
  rig.application.OnReceivedMessage(rig.driver,
                                    ServerMessage(R"({"id": "NewTextMessageInMsg", "nodes": {"1": )" +
                                                  std::to_string(id) + R"(, "2": "hi"}})"),
                                    true);
}

std::vector<unsigned> OrderIds(const ApplicationRig& rig) {
  std::vector<unsigned> ids;
  for (const auto& entry : rig.database.orders) {
    ids.push_back(entry.first);
  }
  return ids;
}

std::vector<unsigned> TextIds(const ApplicationRig& rig) {
  std::vector<unsigned> ids;
  for (const auto& entry : rig.database.textMessages) {
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

  CBrenikInitVelarnAction init;
  init.actionId = 1;
  bkcom::CopyText(init.version, "1.0.5");
  bkcom::CopyText(init.ncVersion, "4.2");
  bkcom::CopyText(init.ncBuild, "977");
  bkcom::CopyText(init.snr, "SN-1");
  Deliver(rig.application, init);
  rig.log.Take();
  rig.application.OnZuParamRequest(rig.driver, "NCI");
  EXPECT_EQ(Lines({"driver SendParamResponse NCI \"4.2/977/SN-1\""}), rig.log.Take());
}

TEST(ApplicationParametersTest, GpsFeedFollowsTheUnitsParameterAndItsChanges) {
  ApplicationRig rig;
  rig.application.OnConnected(rig.driver, false);
  EXPECT_EQ(Lines({"nav CConnectionStateEvent Connected=true", "driver RequestParam GPF",
                   "driver RequestParam ZUK"}),
            rig.log.Take());

  rig.application.OnVelarnParamChanged(rig.driver, "GPF");
  rig.application.OnVelarnParamChanged(rig.driver, "ZUK");
  rig.application.OnVelarnParamChanged(rig.driver, "REL");
  EXPECT_EQ(Lines({"driver RequestParam GPF", "driver RequestParam ZUK"}), rig.log.Take());

  const std::string on = "nav CFeaturesInfoEvent WTR=false Logbook=false AskDriverId=false GpsFeed=true";
  const std::string off = "nav CFeaturesInfoEvent WTR=false Logbook=false AskDriverId=false GpsFeed=false";
  // Only a first byte 0 turns it off: the digit '0' is a wish for the feed.
  rig.application.OnVelarnParamResponse(rig.driver, "GPF", Bytes("0"));
  EXPECT_EQ(Lines({on, "gps Open", "nav CGPSFeedEvent Enabled=true"}), rig.log.Take());
  EXPECT_TRUE(rig.database.velarn.gpsFeedEnabled);
  rig.application.OnVelarnParamResponse(rig.driver, "GPF", Bytes("\x01"));
  EXPECT_EQ(Lines({on}), rig.log.Take());

  rig.application.OnVelarnParamResponse(rig.driver, "GPF", Bytes(std::string("\0\x01", 2)));
  EXPECT_EQ(Lines({off, "gps Close", "nav CGPSFeedEvent Enabled=false"}), rig.log.Take());
  EXPECT_FALSE(rig.database.velarn.gpsFeedEnabled);
  rig.application.OnVelarnParamResponse(rig.driver, "GPF", Bytes(""));
  EXPECT_EQ(Lines({off}), rig.log.Take());

  // A unit without the parameter doesn't want the feed.
  rig.application.OnVelarnParamResponse(rig.driver, "GPF", Bytes("\x01"));
  rig.log.Take();
  rig.application.OnVelarnParamNotFound(rig.driver, "GPF");
  EXPECT_EQ(Lines({off, "gps Close", "nav CGPSFeedEvent Enabled=false"}), rig.log.Take());
  EXPECT_FALSE(rig.database.velarn.gpsFeedEnabled);

  // A missing configuration leaves the one in force; other names are ignored.
  Zuk(rig, R"({"4": true})");
  rig.log.Take();
  rig.application.OnVelarnParamNotFound(rig.driver, "ZUK");
  rig.application.OnVelarnParamNotFound(rig.driver, "XYZ");
  rig.application.OnVelarnParamResponse(rig.driver, "XYZ", Bytes("\x01"));
  EXPECT_EQ(Lines(), rig.log.Take());
  EXPECT_TRUE(rig.database.config.workingTimeEnabled);
  EXPECT_TRUE(rig.database.config.configured);
}

TEST(ApplicationParametersTest, ConfigurationRunsItsStepsAndKeepsWhatIsLeftOut) {
  ApplicationRig rig;
  rig.driver.connected = true;
  rig.application.OnConnected(rig.driver, true);
  rig.log.Take();

  Zuk(rig, R"({"1": true, "2": true, "3": true, "4": true, "5": true, "6": true, "7": 400, "8": 900,
               "10": true, "11": 0})");
  EXPECT_EQ(Lines({"nav CFeaturesInfoEvent WTR=true Logbook=true AskDriverId=true GpsFeed=false",
                   "nav CLogbookStateEvent Logbook_.State=2 Logbook_.AModes=14 Logbook_.Valid=false "
                   "Logbook_.Started=0 Logbook_.Odo=0 Logbook_.Dur=0 Logbook_.Dist=0",
                   "nav CPrivacyStateEvent PM=false", "driver SetLogbookMode 3", kSameDriver}),
            rig.log.Take());
  const data::ConfigParameters& config = rig.database.config;
  EXPECT_TRUE(config.configured);
  EXPECT_TRUE(config.askDriverId && config.logbookEnabled && config.thirdLogbookMode &&
              config.workingTimeEnabled && config.logbookFollowsWorkingTime && config.etaEnabled &&
              config.privacyEnabled);
  EXPECT_EQ(400u, config.etaIntervalHome);
  EXPECT_EQ(900u, config.etaIntervalRoaming);

  // A working day in a pause: the logbook follows into the private mode.
  ChangeWorkingTime(rig, 1, 2);
  ChangeWorkingTime(rig, 2, 8);
  ASSERT_EQ(data::LogbookModePrivate, rig.database.zu.logbookMode);
  rig.log.Take();

  // A configuration without keys changes nothing, and says so all the same.
  Zuk(rig, "{}");
  EXPECT_EQ(Lines({"nav CFeaturesInfoEvent WTR=true Logbook=true AskDriverId=true GpsFeed=false",
                   "nav CLogbookStateEvent Logbook_.State=8 Logbook_.AModes=14 Logbook_.Valid=false "
                   "Logbook_.Started=0 Logbook_.Odo=0 Logbook_.Dur=0 Logbook_.Dist=0",
                   "nav CPrivacyStateEvent PM=false", "driver SetLogbookMode 2"}),
            rig.log.Take());

  // Without the driver's logbook the working time still sets the mode.
  Zuk(rig, R"({"2": false})");
  EXPECT_EQ(data::LogbookModePrivate, rig.database.zu.logbookMode);
  EXPECT_EQ("driver SetLogbookMode 2", rig.log.Take().back());

  // The clock switched off stops without a report to the server, and with
  // nobody left to choose the mode it returns to business.
  Zuk(rig, R"({"4": false})");
  EXPECT_EQ(
      Lines({"nav CFeaturesInfoEvent WTR=false Logbook=false AskDriverId=true GpsFeed=false",
             "nav CCurrentWorkingTimeStateEvent CurrentState=3 AllowedActions=2 LastAction=0 StartOfWork=0 "
             "EndOfWork=0 StartOfLastPause=0 EndOfLastPause=0",
             "nav CLogbookStateEvent Logbook_.State=2 Logbook_.AModes=14 Logbook_.Valid=false "
             "Logbook_.Started=0 Logbook_.Odo=0 Logbook_.Dur=0 Logbook_.Dist=0",
             "nav CPrivacyStateEvent PM=false", "driver SetLogbookMode 3"}),
      rig.log.Take());
  EXPECT_TRUE(config.askDriverId && config.thirdLogbookMode && config.etaEnabled && config.privacyEnabled);
  EXPECT_EQ(400u, config.etaIntervalHome);
}

TEST(ApplicationParametersTest, FirstConfigurationOfASessionDealsWithOlderEntriesByResetMode) {
  for (unsigned mode : {0u, 1u, 2u, 3u}) {
    SCOPED_TRACE("reset mode " + std::to_string(mode));
    ApplicationRig rig;
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

    const std::string node = std::to_string(mode);
    Zuk(rig, R"({"11": )" + node + "}");
    Lines expected;
    if (mode == 1 || mode == 2) {
      expected.push_back(
          "server 0x0580 NewVelarnConnectedOutMsg time=T orderIds=[1,2] textMessageIds=[7] "
          "release=\"vld0.0404\" "
          "resetMode=" +
          node);
    }
    if (mode == 2) {
      expected.push_back("nav COrderDeletedEvent OrderId=1 Remote=true");
      expected.push_back("nav COrderDeletedEvent OrderId=2 Remote=true");
      expected.push_back("nav CTextMessageDeletedEvent MsgId=7 Remote=true");
    }
    expected.push_back(kSameDriver);
    Lines lines = rig.log.Take();
    // The settings are told first (five lines with the clock switched off).
    ASSERT_EQ(expected.size() + 5, lines.size());
    EXPECT_EQ("driver SetLogbookMode 3", lines[4]);
    EXPECT_EQ(expected, Lines(lines.begin() + 5, lines.end()));
    if (mode == 2) {
      EXPECT_EQ(std::vector<unsigned>({5}), OrderIds(rig));
      EXPECT_EQ(std::vector<unsigned>({3}), TextIds(rig));
    } else {
      EXPECT_EQ(std::vector<unsigned>({1, 2, 5}), OrderIds(rig));
      EXPECT_EQ(std::vector<unsigned>({3, 7}), TextIds(rig));
    }

    // A second configuration in the session, and one after a resumed
    // session, only apply their settings.
    Zuk(rig, R"({"11": )" + node + "}");
    EXPECT_EQ(5u, rig.log.Take().size());
    rig.application.OnConnected(rig.driver, false);
    Zuk(rig, R"({"11": )" + node + "}");
    EXPECT_EQ(Lines(), rig.log.Of("server"));
    rig.log.Take();

    // A new session makes everything held so far older.
    rig.application.OnConnected(rig.driver, true);
    rig.log.Take();
    Zuk(rig, R"({"11": )" + node + "}");
    lines = rig.log.Of("server");
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(kSameDriver, "server " + lines.back());
    if (mode == 1) {
      EXPECT_EQ(
          "0x0580 NewVelarnConnectedOutMsg time=T orderIds=[1,2,5] textMessageIds=[3,7] "
          "release=\"vld0.0404\" "
          "resetMode=1",
          lines.front());
    } else if (mode == 2) {
      EXPECT_EQ(
          "0x0580 NewVelarnConnectedOutMsg time=T orderIds=[5] textMessageIds=[3] release=\"vld0.0404\" "
          "resetMode=2",
          lines.front());
      EXPECT_TRUE(OrderIds(rig).empty() && TextIds(rig).empty());
    } else {
      EXPECT_EQ(1u, lines.size());
    }
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
    rig.application.OnReceivedMessage(rig.driver,
                                      ServerMessage(R"({"id": "ResetInMsg", "nodes": )" + nodes + "}"), true);
  };
  reset("{}");
  reset(R"({"1": false, "2": false})");
  EXPECT_EQ(Lines(), rig.log.Take());
  EXPECT_EQ(2u, rig.database.orders.size());

  reset(R"({"1": false, "2": true})");
  EXPECT_EQ(Lines({"nav CTextMessageDeletedEvent MsgId=6 Remote=true",
                   "nav CTextMessageDeletedEvent MsgId=8 Remote=true"}),
            rig.log.Take());
  EXPECT_TRUE(rig.database.textMessages.empty());
  EXPECT_EQ(std::vector<unsigned>({4, 9}), OrderIds(rig));

  reset(R"({"1": true})");
  EXPECT_EQ(
      Lines({"nav COrderDeletedEvent OrderId=4 Remote=true", "nav COrderDeletedEvent OrderId=9 Remote=true"}),
      rig.log.Take());
  EXPECT_TRUE(rig.database.orders.empty());
}

TEST(ApplicationParametersTest, UnitsHeldMessageIsObeyedButDroppedInSilenceWhenItDoesNotParse) {
  ApplicationRig rig;
  Zuk(rig, R"({"4": true})");
  rig.log.Take();

  // Key 3 holds an integer instead of a bool; the other bytes aren't a message.
  const common::Buffer wrongType = Configuration(R"({"3": 1, "4": false})");
  rig.application.OnVelarnParamResponse(rig.driver, "ZUK", wrongType);
  rig.application.OnVelarnParamResponse(rig.driver, "ZUK", Bytes("\x04\x05\xff"));
  EXPECT_EQ(Lines(), rig.log.Take());
  EXPECT_TRUE(rig.database.config.workingTimeEnabled);

  // The same bytes from the data stream are reported to the server.
  rig.application.OnReceivedMessage(rig.driver, wrongType, true);
  const Lines lines = rig.log.Take();
  ASSERT_EQ(1u, lines.size());
  EXPECT_EQ(0u, lines[0].find("server 0x05ff ErrorOutMsg errorCode=1 ")) << lines[0];

  // Whatever server message the unit holds is carried out.
  rig.application.OnVelarnParamResponse(
      rig.driver, "ZUK", ServerMessage(R"({"id": "NewTextMessageInMsg", "nodes": {"1": 12, "2": "held"}})"));
  EXPECT_EQ(std::vector<unsigned>({12}), TextIds(rig));
}

// The driver's side of the application (the working day, the driver's id,
// the logbook mode and privacy, the suspension of the unit link, the
// questions the navigation application may ask), the named parameters and
// the configuration exchanged with the unit, the server's reset, and what a
// full queue to the unit refuses.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "bkcom/Actions.h"
#include "bkcom/Text.h"
#include "data/DatabaseFile.h"
#include "support/Wait.h"
#include "velarn/pdu/LogbookData.h"
#include "velarnd/ApplicationHarness.h"

using namespace velarndtest;

namespace {

void SetDriver(ApplicationRig& rig, unsigned actionId, unsigned driverId) {
  CSetDriverIdAction action;
  action.actionId = actionId;
  action.driverId = driverId;
  Deliver(rig.application, action);
}

void ChangeLogbook(ApplicationRig& rig, unsigned actionId, unsigned newMode) {
  CChangeLogbookModeAction action;
  action.actionId = actionId;
  action.newMode = newMode;
  Deliver(rig.application, action);
}

std::string Report(unsigned previous, unsigned next, unsigned driverId) {
  return "server 0x0505 WorkingTimeReportOutMsg time=T linkAge=-1 previousState=" + std::to_string(previous) +
         " newState=" + std::to_string(next) + " driverId=" + std::to_string(driverId);
}

velarn::LogbookData UnitLogbook(unsigned mode, bool tripValid) {
  velarn::LogbookData logbook;
  logbook.mode = mode;
  logbook.tripValid = tripValid;
  logbook.tripOdometer = 1200000;
  logbook.tripStarted = 1700000000;
  logbook.tripDuration = 3600;
  logbook.tripDistance = 45000;
  return logbook;
}

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

// An order (1, unread), a text message (2, unread), a status and an order
// status (both 5), the working time clock and the logbook switched on.
void Prepare(ApplicationRig& rig) {
  FromServer(rig,
             R"({"id": "NewOrderInMsg", "nodes": {"1": 1, "2": "N", "3": 1, "4": "T", "5": 0, "7": false}})");
  FromServer(rig, R"({"id": "NewTextMessageInMsg", "nodes": {"1": 2, "2": "Hi"}})");
  rig.database.statuses.emplace(5, data::Status(5, "Free"));
  rig.database.orderStatuses.emplace(5, data::Status(5, "Done"));
  rig.database.config.workingTimeEnabled = true;
  rig.database.config.logbookEnabled = true;
  rig.log.Take();
}

template <class T>
std::function<void(ApplicationRig&)> Send(std::function<void(T&)> setup) {
  return [setup](ApplicationRig& rig) {
    T action;
    action.actionId = 9;
    setup(action);
    Deliver(rig.application, action);
  };
}

template <class T>
std::function<void(ApplicationRig&)> OnOrder() {
  return Send<T>([](T& a) { a.orderId = 1; });
}

}  // namespace

TEST(ApplicationDriverTest, WorkingDayDrivesTheLogbookAndAChangeOfDriverEndsIt) {
  ApplicationRig rig;
  const data::WorkingTimeReporting& clock = rig.database.workingTime;

  // The clock is off until the server switches it on.
  ChangeWorkingTime(rig, 1, 2);
  EXPECT_EQ(Lines({Ack(1, 2)}), rig.log.Take());
  EXPECT_EQ(data::WorkingTimeReporting::OffWork, clock.GetState());

  Configure(rig, R"({"4": true, "5": true})");
  SetDriver(rig, 2, 7);
  rig.log.Take();

  // Start of work: reported to the server, the logbook goes to business.
  ChangeWorkingTime(rig, 3, 2);
  const uint32_t started = clock.GetStartOfWork();
  EXPECT_NE(0u, started);
  EXPECT_EQ(Lines({Ack(3, 1), Report(3, 1, 7), WorkingTime(1, 12, started), Logbook(2, 10), Privacy(false),
                   "driver SetLogbookMode 3"}),
            rig.log.Take());

  // An action the state doesn't allow changes nothing.
  ChangeWorkingTime(rig, 4, 2);
  EXPECT_EQ(Lines({Ack(4, 2)}), rig.log.Take());

  // A pause is private.
  ChangeWorkingTime(rig, 5, 8);
  const uint32_t pause = clock.GetStartOfLastPause();
  EXPECT_EQ(Lines({Ack(5, 1), Report(1, 2, 7), WorkingTime(2, 20, started, 0, pause, 0), Logbook(8, 10),
                   Privacy(false), "driver SetLogbookMode 2"}),
            rig.log.Take());

  // The end of work from a pause ends the pause at the same moment.
  ChangeWorkingTime(rig, 6, 4);
  const uint32_t ended = clock.GetEndOfWork();
  EXPECT_EQ(Lines({Ack(6, 1), Report(2, 3, 7), WorkingTime(3, 2, started, ended, pause, ended),
                   Logbook(8, 10), Privacy(false), "driver SetLogbookMode 2"}),
            rig.log.Take());
  // The next day.
  ChangeWorkingTime(rig, 7, 2);
  rig.log.Take();

  // Another driver in the middle of the day: the clock stops without a
  // report, the server sees only the change of driver.
  SetDriver(rig, 8, 9);
  EXPECT_EQ(
      Lines({Ack(8, 1), "server 0x0507 DriverIdChangedOutMsg time=T linkAge=-1 driverId=9 previousDriverId=7",
             WorkingTime(3, 2), Logbook(8, 10), Privacy(false), "driver SetLogbookMode 2"}),
      rig.log.Take());

  // The same driver again is acknowledged and changes nothing.
  SetDriver(rig, 9, 9);
  EXPECT_EQ(Lines({Ack(9, 1)}), rig.log.Take());

  // The new driver's day is reported under his id; asking repeats the state.
  ChangeWorkingTime(rig, 10, 2);
  EXPECT_EQ(Report(3, 1, 9), rig.log.Take().at(1));
  CRequestWorkingTimeStateAction request;
  request.actionId = 11;
  Deliver(rig.application, request);
  EXPECT_EQ(Lines({Ack(11, 1), WorkingTime(1, 12, clock.GetStartOfWork())}), rig.log.Take());
}

TEST(ApplicationDriverTest, WorkingTimeLeavesTheLogbookAloneUnlessTold) {
  ApplicationRig rig;
  Configure(rig, R"({"4": true, "2": true})");
  ChangeLogbook(rig, 1, 4);
  rig.log.Take();

  ChangeWorkingTime(rig, 2, 2);
  EXPECT_EQ(
      Lines({Ack(2, 1), Report(3, 1, 0), WorkingTime(1, 12, rig.database.workingTime.GetStartOfWork())}),
      rig.log.Take());

  SetDriver(rig, 3, 5);
  EXPECT_EQ(
      Lines({Ack(3, 1), "server 0x0507 DriverIdChangedOutMsg time=T linkAge=-1 driverId=5 previousDriverId=0",
             WorkingTime(3, 2)}),
      rig.log.Take());
}

TEST(ApplicationDriverTest, PrivacyFollowsTheModeTheUnitReportsNotTheWantedOne) {
  ApplicationRig rig;

  // The driver may change the mode only when the server allows it.
  ChangeLogbook(rig, 1, 8);
  EXPECT_EQ(Lines({Ack(1, 2)}), rig.log.Take());

  Configure(rig, R"({"2": true, "10": true})");
  rig.log.Take();

  // Private is wanted, but the unit hasn't switched yet: no privacy, no trip.
  ChangeLogbook(rig, 2, 8);
  EXPECT_EQ(Lines({Ack(2, 1), Logbook(8, 10), Privacy(false), "driver SetLogbookMode 2"}), rig.log.Take());

  // The unit reports the mode: the trip counts and privacy is on.
  rig.application.OnNewLogbookInfo(rig.driver, UnitLogbook(2, true));
  EXPECT_EQ(Lines({Logbook(8, 10, true), Privacy(true)}), rig.log.Take());

  // Only 2, 4 and 8 are modes of the navigation link.
  ChangeLogbook(rig, 3, 1);
  ChangeLogbook(rig, 4, 16);
  EXPECT_EQ(Lines({Ack(3, 2), Ack(4, 2)}), rig.log.Take());

  // The third mode is taken although not offered; privacy stays as long as
  // the unit still runs the private mode.
  ChangeLogbook(rig, 5, 4);
  EXPECT_EQ(Lines({Ack(5, 1), Logbook(4, 10), Privacy(true), "driver SetLogbookMode 4"}), rig.log.Take());
  rig.application.OnNewLogbookInfo(rig.driver, UnitLogbook(4, false));
  EXPECT_EQ(Lines({Logbook(4, 10), Privacy(false)}), rig.log.Take());
  rig.application.OnNewLogbookInfo(rig.driver, UnitLogbook(4, true));
  EXPECT_EQ(Lines({Logbook(4, 10, true), Privacy(false)}), rig.log.Take());

  // The present mode again still goes to the unit.
  ChangeLogbook(rig, 6, 4);
  EXPECT_EQ(Lines({Ack(6, 1), Logbook(4, 10, true), Privacy(false), "driver SetLogbookMode 4"}),
            rig.log.Take());

  // Offering the third mode widens AModes; without privacy enabled the
  // private mode isn't private.
  rig.application.OnNewLogbookInfo(rig.driver, UnitLogbook(2, true));
  rig.log.Take();
  Configure(rig, R"({"3": true, "10": false})");
  const Lines lines = rig.log.Of("nav");
  ASSERT_EQ(4u, lines.size());
  EXPECT_EQ(Logbook(4, 14).substr(4), lines[2]);
  EXPECT_EQ(Privacy(false).substr(4), lines[3]);
}

TEST(ApplicationDriverTest, SuspendClosesTheLinkAndAnswersAfterAPauseWithoutTheLock) {
  ApplicationRig rig;
  CSuspendAction suspend;
  suspend.actionId = 4;
  bool pausedWithoutLock = false;

  std::thread suspender([&] { Deliver(rig.application, suspend); });
  // Every line of the log is written under the application's lock; holding
  // it, the log can be read while the handler runs.
  const bool seen = testsupport::WaitUntil(
      [&] {
        std::lock_guard<boost::recursive_mutex> lock(rig.application.GetMutex());
        if (rig.log.lines.empty()) {
          return false;
        }
        pausedWithoutLock = rig.log.lines == Lines({"driver Disconnect"});
        return true;
      },
      std::chrono::seconds(10));
  suspender.join();

  EXPECT_TRUE(seen);
  EXPECT_TRUE(pausedWithoutLock) << "the lock was held through the pause";
  EXPECT_EQ(Lines({"driver Disconnect", Ack(4, 1)}), rig.log.Take());
}

TEST(ApplicationDriverTest, QueriesAnswerWithTheFeaturesAndTheLink) {
  ApplicationRig rig;
  // The whole inbox on request is the order-life scenario's.
  Configure(rig, R"({"1": true, "4": true})");
  rig.application.OnVelarnParamResponse(rig.driver, "GPF", Bytes("\x01"));
  rig.log.Take();
  CGetFeaturesInfoAction features;
  features.actionId = 5;
  Deliver(rig.application, features);
  EXPECT_EQ(Lines({Ack(5, 1), "nav CFeaturesInfoEvent WTR=true Logbook=false AskDriverId=true GpsFeed=true"}),
            rig.log.Take());

  CGetConnectionStateAction connection;
  connection.actionId = 6;
  Deliver(rig.application, connection);
  rig.driver.connected = true;
  connection.actionId = 7;
  Deliver(rig.application, connection);
  EXPECT_EQ(Lines({Ack(6, 1), "nav CConnectionStateEvent Connected=false", Ack(7, 1),
                   "nav CConnectionStateEvent Connected=true"}),
            rig.log.Take());
}

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

  Handshake(rig);
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
  // ignored. (From the data stream such bytes are reported: the core's test.)
  rig.application.OnVelarnParamNotFound(rig.driver, "ZUK");
  rig.application.OnVelarnParamNotFound(rig.driver, "XYZ");
  rig.application.OnVelarnParamResponse(rig.driver, "XYZ", Bytes("\x01"));
  EXPECT_EQ(Lines(), rig.log.Take());
  EXPECT_TRUE(rig.database.config.workingTimeEnabled && rig.database.config.configured);

  // Whatever server message the unit holds is carried out.
  rig.application.OnVelarnParamResponse(
      rig.driver, "ZUK", ServerMessage(R"({"id": "NewTextMessageInMsg", "nodes": {"1": 12, "2": "held"}})"));
  EXPECT_EQ(std::vector<unsigned>({12}), IdsOf(rig.database.textMessages));
}

TEST(ApplicationQueueFullTest, ActionsThatWouldSendAreRefusedUntilThereIsRoom) {
  struct Row {
    const char* name;
    std::function<void(ApplicationRig&)> act;
  };
  const std::vector<Row> rows = {
      {"mark order read", OnOrder<CMarkReadOrderAction>()},
      {"order status",
       Send<CSendStatusOrderAction>([](CSendStatusOrderAction& a) { a.orderId = 1, a.statusId = 5; })},
      {"status", Send<CSendStatusAction>([](CSendStatusAction& a) { a.statusId = 5; })},
      {"mark text read",
       Send<CMarkReadTextMessageAction>([](CMarkReadTextMessageAction& a) { a.msgId = 2; })},
      {"send text",
       Send<CSendTextMessageAction>([](CSendTextMessageAction& a) { bkcom::CopyText(a.text, "x"); })},
      {"working time",
       Send<CChangeWorkingTimeStateAction>([](CChangeWorkingTimeStateAction& a) { a.action = 2; })},
      {"logbook mode", Send<CChangeLogbookModeAction>([](CChangeLogbookModeAction& a) { a.newMode = 8; })},
      {"driver id", Send<CSetDriverIdAction>([](CSetDriverIdAction& a) { a.driverId = 77; })},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ApplicationRig rig;
    Prepare(rig);
    rig.driver.queueFull = true;
    const std::string before = data::EncodeDatabase(rig.database);
    row.act(rig);
    EXPECT_EQ(std::vector<std::string>({"nav CAcknowledge ActionId=9 Error=2"}), rig.log.Take());
    EXPECT_EQ(before, data::EncodeDatabase(rig.database));

    // The same action with room is carried out and sends.
    rig.driver.queueFull = false;
    row.act(rig);
    const std::vector<std::string> sent = rig.log.Take();
    ASSERT_FALSE(sent.empty());
    EXPECT_EQ("nav CAcknowledge ActionId=9 Error=1", sent.front());
    EXPECT_TRUE(std::any_of(sent.begin(), sent.end(), [](const std::string& line) {
      return line.rfind("server ", 0) == 0 || line.rfind("driver ", 0) == 0;
    }));
  }
}

TEST(ApplicationQueueFullTest, ActionsThatSendNothingStillWork) {
  ApplicationRig rig;
  Prepare(rig);
  rig.driver.queueFull = true;
  const size_t before = rig.driver.messages.size();
  Send<CSetDriverIdAction>([](CSetDriverIdAction& a) { a.driverId = 0; })(rig);
  Send<CRequestWorkingTimeStateAction>([](CRequestWorkingTimeStateAction&) {})(rig);
  const std::vector<std::string> lines = rig.log.Take();
  ASSERT_EQ(3u, lines.size());
  EXPECT_EQ("nav CAcknowledge ActionId=9 Error=1", lines[0]);
  EXPECT_EQ("nav CAcknowledge ActionId=9 Error=1", lines[1]);
  EXPECT_EQ(before, rig.driver.messages.size());
}

// The driver's side of the application: the working day, the driver's id, the
// logbook mode and the privacy state, the suspension of the unit link, and
// the questions the navigation application may ask at any time.

#include <gtest/gtest.h>

#include <chrono>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "bkcom/Actions.h"
#include "support/Wait.h"
#include "velarn/pdu/LogbookData.h"
#include "velarnd/ApplicationHarness.h"

using velarndtest::Ack;
using velarndtest::ApplicationRig;
using velarndtest::ChangeWorkingTime;
using velarndtest::Configure;
using velarndtest::Deliver;
using velarndtest::Logbook;
using velarndtest::NewOrder;
using velarndtest::NewText;
using velarndtest::OrderAction;
using velarndtest::Privacy;
using velarndtest::WorkingTime;
using Lines = std::vector<std::string>;

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

TEST(ApplicationDriverTest, QueriesAnswerWithTheInboxTheFeaturesAndTheLink) {
  ApplicationRig rig;
  NewOrder(rig, 11);
  NewText(rig, 21);
  NewOrder(rig, 5);
  // A read order belongs to everything, though not to the unread entries.
  OrderAction<CMarkReadOrderAction>(rig, 2, 11);
  rig.log.Take();

  CGetAllItemsAction all;
  all.actionId = 3;
  Deliver(rig.application, all);
  EXPECT_EQ(Lines({Ack(3, 1), "nav CInboxInfoEvent Orders=2 TextMessages=1",
                   velarndtest::OrderLine("COrderInfoEvent", 5, 4, 0),
                   "nav CTextMessageInfoEvent Msg_.Id=21 Msg_.SKey=3 Msg_.Read=false Msg_.Text=\"hi\"",
                   velarndtest::OrderLine("COrderInfoEvent", 11, 2, 3)}),
            velarndtest::Untimed(rig.log.Take()));

  Configure(rig, R"({"1": true, "4": true})");
  rig.application.OnVelarnParamResponse(rig.driver, "GPF", velarndtest::Bytes("\x01"));
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

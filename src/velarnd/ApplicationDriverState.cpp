// The driver's identity, the logbook, the privacy state, the working time
// clock, and the suspension of the unit link.

#include "bkcom/Actions.h"
#include "bkcom/Events.h"
#include "common/Clock.h"
#include "data/Database.h"
#include "quorlan/EventOutMessages.h"
#include "quorlan/ServerValues.h"
#include "velarn/IVelarnDriver.h"
#include "velarnd/Application.h"
#include "velarnd/LogbookModes.h"

namespace velarnd {

// --- What the navigation application is told ---

void Application::SendLogbookState() {
  const data::ZUParameters& wanted = database.zu;
  const data::LogbookInfo& reported = database.velarn.logbook;
  CLogbookStateEvent event;
  event.logbook.state = LogbookModeToNavigation(wanted.logbookMode);
  event.logbook.aModes =
      kNavigationModesOffered | (database.config.thirdLogbookMode ? kNavigationThirdMode : 0);
  // The trip figures count only once the unit runs the wanted mode.
  event.logbook.valid = reported.mode == wanted.logbookMode && reported.tripValid;
  if (event.logbook.valid) {
    event.logbook.started = reported.tripStarted;
    event.logbook.odo = reported.tripOdometer;
    event.logbook.dur = reported.tripDuration;
    event.logbook.dist = reported.tripDistance;
  }
  SendEvent(event);
}

void Application::SendPrivacyState() {
  // What counts is the mode the unit reports, not the wanted one.
  CPrivacyStateEvent event;
  event.pm = database.config.privacyEnabled && database.velarn.logbook.mode == data::LogbookModePrivate;
  SendEvent(event);
}

void Application::SendWorkingTimeState() {
  // LastAction stays 0: the clock's time of the last change isn't part of
  // what the navigation application is promised.
  const data::WorkingTimeReporting& clock = database.workingTime;
  CCurrentWorkingTimeStateEvent event;
  event.currentState = static_cast<uint32_t>(clock.GetState());
  event.allowedActions = clock.GetAllowedActions();
  event.startOfWork = clock.GetStartOfWork();
  event.endOfWork = clock.GetEndOfWork();
  event.startOfLastPause = clock.GetStartOfLastPause();
  event.endOfLastPause = clock.GetEndOfLastPause();
  SendEvent(event);
}

// Sets the wanted mode, tells the navigation application and the unit.
void Application::ApplyLogbookMode(unsigned mode) {
  database.zu.logbookMode = static_cast<data::LogbookMode>(mode);
  SendLogbookState();
  SendPrivacyState();
  driver.SetLogbookMode(static_cast<unsigned char>(mode));
}

// With the logbook following the working time, a day off work or a pause is
// private and work is business.
void Application::FollowWorkingTime() {
  const data::WorkingTimeReporting::State state = database.workingTime.GetState();
  const bool off = state == data::WorkingTimeReporting::Pause || state == data::WorkingTimeReporting::OffWork;
  ApplyLogbookMode(off ? data::LogbookModePrivate : data::LogbookModeBusiness);
}

// --- Actions ---

void Application::Handle(const CChangeLogbookModeAction& message) {
  boost::recursive_mutex::scoped_lock lock(mutex);
  const unsigned mode = LogbookModeFromNavigation(message.newMode);
  if (RefusedForRoom(message)) {
    return;
  }
  if (!database.config.logbookEnabled || mode == 0) {
    Acknowledge(2, message);
    return;
  }
  Acknowledge(1, message);
  ApplyLogbookMode(mode);
}

void Application::Handle(const CChangeWorkingTimeStateAction& message) {
  boost::recursive_mutex::scoped_lock lock(mutex);
  data::WorkingTimeReporting& clock = database.workingTime;
  const data::WorkingTimeReporting::State previous = clock.GetState();
  if (RefusedForRoom(message)) {
    return;
  }
  if (!database.config.workingTimeEnabled || !clock.Apply(message.action)) {
    Acknowledge(2, message);
    return;
  }
  Acknowledge(1, message);

  quorlan::WorkingTimeReportOutMsg report;
  FillEventHeader(report);
  report.previousState.SetValue(quorlan::WorkingTimeStateToServer(static_cast<uint8_t>(previous)));
  report.newState.SetValue(quorlan::WorkingTimeStateToServer(static_cast<uint8_t>(clock.GetState())));
  report.driverId.SetValue(database.zu.driverId);
  SendToServer(report, "", kServerMessageFlags);

  SendWorkingTimeState();
  if (database.config.logbookFollowsWorkingTime) {
    FollowWorkingTime();
  }
}

void Application::Handle(const CRequestWorkingTimeStateAction& message) {
  boost::recursive_mutex::scoped_lock lock(mutex);
  Acknowledge(1, message);
  SendWorkingTimeState();
}

void Application::Handle(const CSetDriverIdAction& message) {
  boost::recursive_mutex::scoped_lock lock(mutex);
  const unsigned previous = database.zu.driverId;
  // Only a change is reported to the server, so only a change needs room.
  if (message.driverId != previous && RefusedForRoom(message)) {
    return;
  }
  Acknowledge(1, message);
  if (message.driverId == previous) {
    return;
  }
  database.zu.driverId = message.driverId;

  quorlan::DriverIdChangedOutMsg changed;
  FillEventHeader(changed);
  changed.driverId.SetValue(message.driverId);
  changed.previousDriverId.SetValue(previous);
  SendToServer(changed, "", kServerMessageFlags);

  // The new driver starts off work; the server learns of the change only
  // through DriverIdChangedOutMsg.
  database.workingTime.Reset();
  SendWorkingTimeState();
  if (database.config.logbookFollowsWorkingTime) {
    FollowWorkingTime();
  }
}

void Application::Handle(const CSuspendAction& message) {
  {
    boost::recursive_mutex::scoped_lock lock(mutex);
    driver.Disconnect();
  }
  // The pause gives the link time to close before the application hears
  // back; the lock is free meanwhile, so unit events go on.
  common::GetClock().SleepFor(kSuspendPauseMs);
  boost::recursive_mutex::scoped_lock lock(mutex);
  Acknowledge(1, message);
}

// --- News from the unit ---

void Application::OnNewLogbookInfo(velarn::IVelarnDriver& /*driver*/, const velarn::LogbookData& logbook) {
  boost::recursive_mutex::scoped_lock lock(mutex);
  data::LogbookInfo& stored = database.velarn.logbook;
  stored.mode = static_cast<data::LogbookMode>(logbook.mode);
  stored.tripValid = logbook.tripValid;
  stored.tripOdometer = logbook.tripOdometer;
  stored.tripStarted = logbook.tripStarted;
  stored.tripDuration = logbook.tripDuration;
  stored.tripDistance = logbook.tripDistance;
  SendLogbookState();
  SendPrivacyState();
  database.velarn.odometer = logbook.odometer;
}

}  // namespace velarnd

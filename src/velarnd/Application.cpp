// The application core: the object itself, the hooks of the navigation link,
// the two handshakes (with the navigation application and with the unit),
// server messages coming in, and the helpers every handler uses.

#include "velarnd/Application.h"

#include <cstring>
#include <deque>

#include <boost/bind/bind.hpp>

#include "bkcom/Actions.h"
#include "bkcom/Events.h"
#include "bkcom/Text.h"
#include "bkcom/VelarnMessageRegistry.h"
#include "common/Buffer.h"
#include "common/Clock.h"
#include "common/Exceptions.h"
#include "common/Time.h"
#include "data/Database.h"
#include "data/DatabaseFile.h"
#include "nmea/IGPSFeeder.h"
#include "quorlan/AIncomingMessage.h"
#include "quorlan/EventOutMessages.h"
#include "quorlan/MessageCodec.h"
#include "quorlan/OutgoingMessages.h"
#include "velarn/IVelarnDriver.h"
#include "velarnd/LogbookModes.h"
#include "velarnd/UnreadItemsSender.h"
#include "velarnd/Version.h"

namespace velarnd {

namespace {

// The version of the message set is compared over at most this many
// characters, the size of the field.
constexpr size_t kVersionLength = 32;

// A position kept across a gap counts as last known, not live.
void DemoteLiveFix(data::GPSInfo& gps) {
  if (gps.status == 'A') {
    gps.status = 'L';
  }
}

bool HasPosition(const data::GPSInfo& gps) { return gps.status == 'A' || gps.status == 'L'; }

quorlan::PositionGroup MakePositionGroup(const data::GPSInfo& gps) {
  quorlan::PositionGroup group;
  group.valid.SetValue(gps.status == 'A');
  group.latitude.SetValue(gps.position.latitude);
  group.longitude.SetValue(gps.position.longitude);
  group.time.SetValue(common::ToEpoch2000(gps.time));
  group.satellites.SetValue(gps.satellites);
  // The server counts the course in steps of two degrees, in one byte.
  group.course.SetValue(static_cast<uint8_t>(gps.course / 2));
  group.speed.SetValue(gps.speed);
  return group;
}

}  // namespace

Application::Application(data::Database& database, velarn::IVelarnDriver& driver, nmea::IGPSFeeder& gpsFeeder)
    : timerManager(mutex, kTimerTickMs),
      keepAliveTimer(boost::bind(&Application::OnKeepAliveTimer, this, boost::placeholders::_1), timerManager,
                     kInitialKeepAliveMs),
      checkpointTimer(boost::bind(&Application::OnCheckpointTimer, this, boost::placeholders::_1),
                      timerManager, kCheckpointMs),
      checkpoint(database),
      handshakeTimer(boost::bind(&Application::OnHandshakeTimer, this, boost::placeholders::_1), timerManager,
                     kHandshakeTimeoutMs),
      actionIds(1),
      database(database),
      driver(driver),
      gpsFeeder(gpsFeeder) {
  // The event loop takes this mutex before its own around the connect and
  // disconnect hooks, the order every other thread uses too.
  SetHookMutex(&mutex);
}

Application::~Application() {
  boost::recursive_mutex::scoped_lock lock(mutex);
  keepAliveTimer.Stop();
  checkpointTimer.Stop();
  handshakeTimer.Stop();
}

// --- Hooks of the navigation event loop ---

CVelarnMessageRegistry* Application::GetMessageFactory() { return &CVelarnMessageRegistry::Instance(); }

void Application::OnStart() {
  {
    boost::recursive_mutex::scoped_lock lock(mutex);
    // The daemon loaded the file or has just written it.
    checkpoint.Written();
    databaseWritten = true;
    if (checkpointMs != 0) {
      checkpointTimer.SetInterval(checkpointMs);
      checkpointTimer.Start();
    }
  }
  timerManager.Start();
}

void Application::OnStop() {
  // The timer thread may be waiting for the mutex: stop it before locking.
  timerManager.Stop();
  boost::recursive_mutex::scoped_lock lock(mutex);
  checkpointTimer.Stop();
  handshakeTimer.Stop();
  WriteDatabase();
}

bool Application::FinishStop() {
  boost::recursive_mutex::scoped_lock lock(mutex);
  if (!databaseWritten || checkpoint.Compare() != CheckpointPolicy::None) {
    WriteDatabase();
  }
  return databaseWritten;
}

void Application::WriteDatabase() {
  databaseWritten = database.Save();
  if (databaseWritten) {
    checkpoint.Written();
  }
}

void Application::OnCheckpointTimer(common::Timer& timer) {
  timer.Start();
  // A failed write is tried again at the next checkpoint.
  if (checkpoint.Due(checkpointMs)) {
    WriteDatabase();
  }
}

void Application::OnHandshakeTimer(common::Timer& /*timer*/) { DropClient(); }

void Application::HandleMessage(CVelarnMessage* message, CBrenikCommunicationClient* /*client*/,
                                int* handled) {
  *handled = 1;
  try {
    CVelarnMessageRegistry::Dispatch(*message, static_cast<bkcom::IIncomingMessageHandler&>(*this));
  } catch (...) {
    // A failing handler costs its own action, never the event loop.
  }
}

void Application::OnClientConnected() {
  boost::recursive_mutex::scoped_lock lock(mutex);
  CVelarnInitBrenikAction greeting;
  greeting.actionId = actionIds.Next();
  bkcom::CopyText(greeting.version, MESSAGE_SET_VERSION);
  greeting.navStateUpdate = kNavStateUpdateSeconds;
  SendEvent(greeting);
  handshakeTimer.Start();
  DemoteLiveFix(database.velarn.gps);
  DemoteLiveFix(database.zu.gps);
}

void Application::OnClientDisconnected() {
  boost::recursive_mutex::scoped_lock lock(mutex);
  keepAliveTimer.Stop();
  handshakeTimer.Stop();
  driver.Disconnect();
}

void Application::Handle(const CAcknowledge& /*message*/) {
  // The navigation application's answer to the greeting needs nothing more.
}

void Application::Handle(const CBrenikInitVelarnAction& message) {
  boost::recursive_mutex::scoped_lock lock(mutex);
  // Answered, though maybe in another version: that application stays
  // attached with the unit link closed, and may answer again.
  handshakeTimer.Stop();
  if (std::strncmp(message.version, MESSAGE_SET_VERSION, kVersionLength) != 0) {
    // The navigation link stays; only the unit link stays closed. An
    // application that now speaks another version gets no keep-alive either,
    // also if an earlier handshake on this link had started it.
    keepAliveTimer.Stop();
    Acknowledge(2, message);
    driver.Disconnect();
    return;
  }
  Acknowledge(1, message);

  keepAliveTimer.Stop();
  if (message.kaInterval != 0) {
    keepAliveTimer.SetInterval(static_cast<uint64_t>(message.kaInterval) * 1000);
    keepAliveTimer.Start();
  }

  UnreadItemsSender unreadItems(*this);
  std::deque<data::InboxEntry*> entries;
  database.GetUnreadInboxEntries(entries);
  for (data::InboxEntry* entry : entries) {
    entry->Accept(unreadItems);
  }
  if (const data::Order* active = database.orders.GetActive()) {
    SendOrderModified(*active, false);
  }
  SendLogbookState();
  SendPrivacyState();

  database.zu.NCVersion = message.ncVersion;
  database.zu.NCBuild = message.ncBuild;
  database.zu.SNR = message.snr;
  // The unit also reads "NCI" by itself when it connects, so the notice is
  // left out rather than added to a full queue.
  if (driver.HasQueueRoom()) {
    driver.NotifyParamChanged("NCI");
  }
  driver.Listen();
}

void Application::OnKeepAliveTimer(common::Timer& timer) {
  timer.Start();
  CKeepAliveEvent event;
  SendEvent(event);
}

// --- The unit link ---

void Application::OnConnected(velarn::IVelarnDriver& driver, bool newSession) {
  boost::recursive_mutex::scoped_lock lock(mutex);
  CConnectionStateEvent state;
  state.connected = true;
  SendEvent(state);

  if (newSession) {
    // A new session: what the daemon knew of the unit is void.
    database.velarn.Reset();
    database.config.Reset();
    // Entries up to this key are older than the session; the first
    // configuration may report or delete them.
    database.config.newSessionBoundary = database.sortKeys.Current();
    SendFeaturesInfo();
    SendLogbookState();
    SendPrivacyState();
    CStatusListUpdatedEvent statusesUpdated;
    statusesUpdated.type = 2;
    SendEvent(statusesUpdated);
    database.statuses.clear();
    CStatusListUpdatedEvent orderStatusesUpdated;
    orderStatusesUpdated.type = 1;
    SendEvent(orderStatusesUpdated);
    database.orderStatuses.clear();
  }
  // The answers bring the GPS feed setting and the configuration.
  driver.RequestParam("GPF");
  driver.RequestParam("ZUK");
}

void Application::OnInterrupted(velarn::IVelarnDriver& /*driver*/) {
  boost::recursive_mutex::scoped_lock lock(mutex);
  CloseGpsFeed();
  database.velarn.linkLostAt = common::GetTimeMs();
  linkLostMonotonicMs = common::GetMonotonicMs();
  DemoteLiveFix(database.velarn.gps);
  CConnectionStateEvent state;
  state.connected = false;
  SendEvent(state);
}

void Application::OnReceivedMessage(velarn::IVelarnDriver& /*driver*/, const common::Buffer& message,
                                    bool valid) {
  boost::recursive_mutex::scoped_lock lock(mutex);
  if (!valid) {
    return;
  }
  try {
    ParseAndDispatch(message);
  } catch (const ParseException& error) {
    SendParseError(error.what(), message);
  }
}

void Application::ParseAndDispatch(const common::Buffer& message) {
  boost::shared_ptr<quorlan::AIncomingMessage> parsed = quorlan::MessageCodec::Parse(message);
  parsed->Dispatch(static_cast<quorlan::IIncomingMessageHandler&>(*this));
}

void Application::SendParseError(const char* text, const common::Buffer& message) {
  quorlan::ErrorOutMsg error;
  error.errorCode.SetValue(1);
  error.time.SetValue(common::ToEpoch2000(common::GetTime()));
  error.release.SetValue(RELEASE);
  error.text.SetValue(text);
  error.data.SetValue(message);
  SendToServer(error, "", kServerMessageFlags);
}

// --- Helpers ---

void Application::Acknowledge(unsigned error, const CAbstractAction& action) {
  CAcknowledge acknowledge;
  acknowledge.actionId = action.actionId;
  acknowledge.error = error;
  SendEvent(acknowledge);
}

bool Application::RefusedForRoom(const CAbstractAction& action) {
  if (driver.HasQueueRoom()) {
    return false;
  }
  Acknowledge(2, action);
  return true;
}

void Application::FillEventHeader(quorlan::AEventOutMsg& message) {
  message.time.SetValue(common::ToEpoch2000Ms(common::GetTimeMs()));

  const data::VelarnParameters& unit = database.velarn;
  int32_t linkAge = -1;
  if (driver.IsConnected()) {
    linkAge = 0;
  } else if (unit.linkLostAt != 0 && linkLostMonotonicMs != 0) {
    // Lost while this process runs: measured on the monotonic clock, so that
    // setting the wall clock doesn't age the link by hours.
    linkAge = static_cast<int32_t>((common::GetMonotonicMs() - linkLostMonotonicMs) / 1000);
  } else if (unit.linkLostAt != 0) {
    // Lost before the start: only the stored wall time tells. A clock set
    // back since the loss counts as no time passed.
    const uint64_t now = common::GetTimeMs();
    linkAge = now > unit.linkLostAt ? static_cast<int32_t>((now - unit.linkLostAt) / 1000) : 0;
  }
  message.linkAge.SetValue(linkAge);

  if (HasPosition(unit.gps)) {
    message.unitPosition.SetValue(MakePositionGroup(unit.gps));
  }
  // The navigation application's position stands in for a unit without a
  // live fix; with a last known one from the unit both go out.
  if (unit.gps.status != 'A' && HasPosition(database.zu.gps)) {
    message.navigationPosition.SetValue(MakePositionGroup(database.zu.gps));
  }
  if (unit.odometer != 0) {
    message.odometer.SetValue(unit.odometer / 100);
  }
  if (unit.tripValue != 0) {
    message.tripValue.SetValue(unit.tripValue);
  }
  if (unit.logbook.mode != data::LogbookModeNone) {
    message.logbookMode.SetValue(static_cast<uint8_t>(LogbookModeToServer(unit.logbook.mode)));
  }
}

void Application::SendToServer(const quorlan::AOutgoingMessage& message, const std::string& recipient,
                               unsigned flags) {
  common::Buffer buffer(1024, 200);
  quorlan::MessageCodec::Serialize(message, buffer);
  driver.SendMessage(buffer, recipient, flags);
}

void Application::OpenGpsFeed() {
  if (gpsFeeder.IsOpen()) {
    return;
  }
  gpsFeeder.Open();
  CGPSFeedEvent event;
  event.enabled = true;
  SendEvent(event);
}

void Application::CloseGpsFeed() {
  if (!gpsFeeder.IsOpen()) {
    return;
  }
  gpsFeeder.Close();
  CGPSFeedEvent event;
  event.enabled = false;
  SendEvent(event);
}

}  // namespace velarnd

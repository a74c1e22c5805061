// Position data: the navigation application's navigation state (arrival
// reports to the server) and position, the unit's fixes (stored for the
// event header and relayed as NMEA sentences), and the unit's network.

#include <vector>

#include "bkcom/Events.h"
#include "common/Time.h"
#include "data/Database.h"
#include "nmea/GSASentence.h"
#include "nmea/GSVSentence.h"
#include "nmea/IGPSFeeder.h"
#include "nmea/RMCSentence.h"
#include "quorlan/EventOutMessages.h"
#include "velarn/IVelarnDriver.h"
#include "velarnd/Application.h"

namespace velarnd {

namespace {

// The arrival estimate must move at least this far (seconds) before it is
// reported again; the server may ask for more, never for less.
constexpr unsigned kMinEtaIntervalHome = 300;
constexpr unsigned kMinEtaIntervalRoaming = 600;
// A route leads to the active order's destination when its end lies closer
// than this (the distance function's units, metres in practice).
constexpr double kDestinationMatch = 100.0;

enum ReportKind : uint8_t { kFirstReport = 0, kChangedReport = 1, kEndOfReports = 2 };

// Network registration states of the unit (ASCII digits).
constexpr unsigned kRegisteredHome = '1';
constexpr unsigned kRegisteredRoaming = '5';

// The navigation link counts positions in hundred-thousandths of a degree,
// the database in millionths. Multiplied without overflow for any input.
int32_t FromNavigation(int32_t value) { return static_cast<int32_t>(static_cast<uint32_t>(value) * 10u); }

}  // namespace

void Application::Handle(const CNavigationStateEvent& message) {
  boost::recursive_mutex::scoped_lock lock(mutex);
  data::ConfigParameters& config = database.config;
  data::ZUParameters& zu = database.zu;
  if (config.etaIntervalHome < kMinEtaIntervalHome) {
    config.etaIntervalHome = kMinEtaIntervalHome;
  }
  if (config.etaIntervalRoaming < kMinEtaIntervalRoaming) {
    config.etaIntervalRoaming = kMinEtaIntervalRoaming;
  }
  // Without the link, a network or room in the link's queue a report in
  // progress waits untouched; the next navigation state carries it on.
  if (!config.etaEnabled || !driver.IsConnected() || !database.velarn.registered || !driver.HasQueueRoom()) {
    return;
  }

  const data::Order* active = database.orders.GetActive();
  const data::Position routeEnd(FromNavigation(message.rDst.lat), FromNavigation(message.rDst.lon));
  const bool matches = active != nullptr && !active->destination.IsNull() &&
                       active->destination.Distance(routeEnd) < kDestinationMatch;

  auto report = [this, &message](unsigned orderId, uint8_t kind) {
    quorlan::ETAReportOutMsg eta;
    FillEventHeader(eta);
    eta.orderId.SetValue(orderId);
    eta.reportKind.SetValue(kind);
    if (kind != kEndOfReports) {
      eta.eta.SetValue(common::ToEpoch2000(database.zu.lastEta));
      eta.distance.SetValue(message.dist);
    }
    SendToServer(eta, "", kServerMessageFlags);
  };

  if (zu.etaOrderId != 0) {
    const bool ended = message.navType == 1 || active == nullptr || active->id != zu.etaOrderId || !matches;
    if (ended) {
      if (database.orders.count(zu.etaOrderId) != 0) {
        report(zu.etaOrderId, kEndOfReports);
      }
      zu.etaOrderId = 0;
      zu.lastEta = 0;
    } else if (message.eta != 0) {
      const unsigned interval =
          database.velarn.homeNetwork ? config.etaIntervalHome : config.etaIntervalRoaming;
      if (common::TimeDifference(message.eta, zu.lastEta) >= interval) {
        zu.lastEta = message.eta;
        report(zu.etaOrderId, kChangedReport);
      }
    }
  }
  if (zu.etaOrderId == 0 && message.navType != 1 && message.eta != 0 && matches) {
    zu.etaOrderId = active->id;
    zu.lastEta = message.eta;
    report(zu.etaOrderId, kFirstReport);
  }
}

void Application::Handle(const CGPSEvent& message) {
  boost::recursive_mutex::scoped_lock lock(mutex);
  data::GPSInfo& gps = database.zu.gps;
  if (!message.val) {
    // Keep the last position, marked as such.
    if (gps.status == 'A') {
      gps.status = 'L';
    }
    return;
  }
  gps.status = 'A';
  gps.time = message.ts;
  gps.position = data::Position(FromNavigation(message.lat), FromNavigation(message.lon));
  gps.speed = message.speed;
  gps.course = message.course;
  gps.satellites = message.sat;
}

void Application::OnNewGPSFix(velarn::IVelarnDriver& /*driver*/, const velarn::GPSFix& fix,
                              const velarn::GPSFixEx& fixEx) {
  boost::recursive_mutex::scoped_lock lock(mutex);
  if (fixEx.status != 0xFF && gpsFeeder.IsOpen()) {
    // A feeder that fails loses this fix's sentences; the fix is kept below.
    try {
      nmea::RMCSentence rmc;
      fixEx.Fill(rmc);
      gpsFeeder.Write(rmc);
      nmea::GSASentence gsa;
      fixEx.Fill(gsa);
      gpsFeeder.Write(gsa);
      std::vector<nmea::GSVSentence> gsv;
      fixEx.Fill(gsv);
      for (const nmea::GSVSentence& sentence : gsv) {
        gpsFeeder.Write(sentence);
      }
    } catch (const std::exception&) {
    }
  }

  data::VelarnParameters& unit = database.velarn;
  unit.gps.status = static_cast<char>(fix.status);
  unit.gps.position = data::Position(fix.latitude, fix.longitude);
  unit.gps.time = common::FromEpoch2000(fix.time);
  unit.gps.satellites = fix.satellites;
  unit.gps.speed = fix.speed;
  unit.gps.course = fix.course;
  unit.tripValue = fix.tripValue;
}

void Application::OnNetworkRegistrationChanged(velarn::IVelarnDriver& /*driver*/, unsigned status,
                                               unsigned /*extra*/) {
  boost::recursive_mutex::scoped_lock lock(mutex);
  database.velarn.registered = status == kRegisteredHome || status == kRegisteredRoaming;
  database.velarn.homeNetwork = status == kRegisteredHome;
}

}  // namespace velarnd

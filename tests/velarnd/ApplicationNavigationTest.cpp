// Position data through the application: arrival reports to the server from
// the navigation state, the navigation application's own position, the
// unit's fixes (stored, and relayed as NMEA sentences into the GPS feed), and
// the unit's mobile network.

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "bkcom/Actions.h"
#include "bkcom/Events.h"
#include "data/Database.h"
#include "nmea/NamedPipeGPSFeeder.h"
#include "support/TempDir.h"
#include "velarn/pdu/GPSFix.h"
#include "velarnd/ApplicationHarness.h"

using velarndtest::ApplicationRig;
using velarndtest::Configure;
using velarndtest::Deliver;
using velarndtest::ServerMessage;
using Lines = std::vector<std::string>;

namespace {

// An order's destination, and the same point as the navigation link gives
// it: in hundred-thousandths of a degree.
constexpr int32_t kLatitude = 52370216;
constexpr int32_t kLongitude = 4895168;
constexpr int32_t kNavLatitude = kLatitude / 10;
constexpr int32_t kNavLongitude = kLongitude / 10;
// 2023-11-14 22:13:20 UTC, and the same in the server's count from 2000.
constexpr uint32_t kEta = 1700000000;
constexpr uint32_t kEta2000 = kEta - 946684800;

// A new order, with a destination unless withDestination is false, read and
// started by the driver.
void StartOrder(ApplicationRig& rig, unsigned id, bool withDestination = true) {
  const std::string destination =
      withDestination ? R"(, "6": {"1": 52370216, "2": 4895168, "3": "Depot"})" : "";
  rig.application.OnReceivedMessage(
      rig.driver,
      ServerMessage(R"({"id": "NewOrderInMsg", "nodes": {"1": )" + std::to_string(id) +
                    R"(, "2": "N", "3": 2, "4": "job", "5": 0, "7": false)" + destination + "}}"),
      true);
  CMarkReadOrderAction read;
  read.actionId = 100 + id;
  read.orderId = id;
  Deliver(rig.application, read);
  CStartOrderAction start;
  start.actionId = 200 + id;
  start.orderId = id;
  Deliver(rig.application, start);
}

void Complete(ApplicationRig& rig, unsigned id) {
  CCompleteOrderAction complete;
  complete.actionId = 300 + id;
  complete.orderId = id;
  Deliver(rig.application, complete);
}

// A unit link that is up, in the home network, with arrival reports on.
void Reporting(ApplicationRig& rig, const std::string& configuration) {
  rig.driver.connected = true;
  rig.application.OnConnected(rig.driver, true);
  rig.application.OnNetworkRegistrationChanged(rig.driver, '1', 0);
  Configure(rig, configuration);
}

void Navigate(ApplicationRig& rig, uint32_t eta, uint32_t dist = 5000, int32_t latitudeShift = 0,
              uint32_t navType = 0) {
  CNavigationStateEvent state;
  state.navType = navType;
  state.rDst.lat = kNavLatitude + latitudeShift;
  state.rDst.lon = kNavLongitude;
  // The route's end as the user entered it plays no part.
  state.uDst.lat = 1;
  state.uDst.lon = 1;
  state.eta = eta;
  state.dist = dist;
  Deliver(rig.application, state);
}

std::string Eta(unsigned orderId, unsigned kind, uint32_t eta2000, uint32_t dist) {
  return "server 0x0506 ETAReportOutMsg time=T linkAge=0 orderId=" + std::to_string(orderId) +
         " reportKind=" + std::to_string(kind) + " distance=" + std::to_string(dist) +
         " eta=" + std::to_string(eta2000);
}

std::string EtaEnd(unsigned orderId) {
  return "server 0x0506 ETAReportOutMsg time=T linkAge=0 orderId=" + std::to_string(orderId) +
         " reportKind=2";
}

// The extended fix of the worked RMC example, with five satellites in view.
velarn::GPSFixEx FixEx() {
  velarn::GPSFixEx fixEx;
  fixEx.status = 'A';
  fixEx.time = 300000000;  // 2009-07-04 05:20:00 UTC
  fixEx.latitude = kLatitude;
  fixEx.longitude = kLongitude;
  fixEx.speed = 1000;
  fixEx.course = 2345;
  fixEx.fixMode = 'A';
  fixEx.fixType = 3;
  fixEx.satelliteMask = 0x13;  // satellites 1, 2 and 5
  fixEx.pdop = 25;
  fixEx.hdop = 12;
  fixEx.vdop = 20;
  fixEx.satelliteCount = 5;
  for (unsigned i = 0; i < 5; ++i) {
    fixEx.satellites[i].number = static_cast<uint8_t>(i + 1);
    fixEx.satellites[i].signal = static_cast<uint8_t>(30 + i);
    fixEx.satellites[i].elevation = 45;
    fixEx.satellites[i].azimuth = static_cast<uint16_t>(90 * i);
  }
  return fixEx;
}

velarn::GPSFix Fix(int32_t latitude) {
  velarn::GPSFix fix;
  fix.status = 'A';
  fix.latitude = latitude;
  fix.longitude = kLongitude;
  fix.time = 300000000;
  fix.satellites = 6;
  fix.speed = 100;
  fix.course = 234;
  fix.tripValue = 77;
  return fix;
}

const char* const kRmc = "$GPRMC,052000,A,5222.2129,N,00453.7100,E,54.0,234.5,040709,,*2A";
const char* const kGsa = "$GPGSA,A,3,01,02,05,,,,,,,,,,2.5,1.2,2.0*";
const char* const kGsv1 = "$GPGSV,2,1,5,1,45,0,30,2,45,90,31,3,45,180,32,4,45,270,33*";
const char* const kGsv2 = "$GPGSV,2,2,5,5,45,360,34*";

// A sentence up to its checksum, which the NMEA tests check on their own.
std::string UpToChecksum(const std::string& sentence) { return sentence.substr(0, sentence.find('*') + 1); }

// Reads what the pipe holds until count lines have come, the writer has gone
// (end of file) or the time is up; never blocks longer than that.
std::string ReadLines(int reader, size_t count, std::chrono::milliseconds timeout) {
  std::string text;
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  size_t lines = 0;
  while (lines < count) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now())
            .count();
    if (left <= 0) {
      break;
    }
    pollfd poller = {reader, POLLIN, 0};
    if (::poll(&poller, 1, static_cast<int>(left)) <= 0) {
      continue;
    }
    char buffer[512];
    const ssize_t got = ::read(reader, buffer, sizeof(buffer));
    if (got == 0) {
      break;
    }
    if (got > 0) {
      text.append(buffer, static_cast<size_t>(got));
      lines = 0;
      for (char c : text) {
        lines += c == '\n' ? 1 : 0;
      }
    }
  }
  return text;
}

}  // namespace

TEST(ApplicationNavigationTest, ArrivalReportsTellTheFirstEstimateItsShiftsAndTheEnd) {
  ApplicationRig rig;
  Reporting(rig, R"({"6": true, "7": 0, "8": 0})");
  StartOrder(rig, 1);
  rig.log.Take();
  data::ConfigParameters& config = rig.database.config;
  const data::ZUParameters& zu = rig.database.zu;
  EXPECT_EQ(0u, config.etaIntervalHome);

  // The first estimate for the active order's destination; the intervals from
  // the server are raised to their least values for good.
  Navigate(rig, kEta, 5000);
  EXPECT_EQ(Lines({Eta(1, 0, kEta2000, 5000)}), rig.log.Take());
  EXPECT_EQ(300u, config.etaIntervalHome);
  EXPECT_EQ(600u, config.etaIntervalRoaming);
  EXPECT_EQ(1u, zu.etaOrderId);

  // In the home network a shift of 300 seconds, either way, is news.
  Navigate(rig, kEta + 299, 4900);
  Navigate(rig, kEta - 299, 4800);
  Navigate(rig, 0, 4700);
  EXPECT_EQ(Lines(), rig.log.Take());
  Navigate(rig, kEta + 300, 4000);
  EXPECT_EQ(Lines({Eta(1, 1, kEta2000 + 300, 4000)}), rig.log.Take());
  EXPECT_EQ(kEta + 300, zu.lastEta);

  // Roaming it takes 600, measured from the last report.
  rig.application.OnNetworkRegistrationChanged(rig.driver, '5', 0);
  Navigate(rig, kEta + 899, 3000);
  EXPECT_EQ(Lines(), rig.log.Take());
  Navigate(rig, kEta - 300, 3000);
  EXPECT_EQ(Lines({Eta(1, 1, kEta2000 - 300, 3000)}), rig.log.Take());

  // Without the network, the link or the feature nothing moves, not even
  // the end of the guidance.
  rig.application.OnNetworkRegistrationChanged(rig.driver, '0', 0);
  Navigate(rig, kEta, 1000, 0, 1);
  rig.application.OnNetworkRegistrationChanged(rig.driver, '1', 0);
  rig.driver.connected = false;
  Navigate(rig, kEta, 1000, 0, 1);
  rig.driver.connected = true;
  EXPECT_EQ(Lines(), rig.log.Take());
  Configure(rig, R"({"6": false})");
  rig.log.Take();
  Navigate(rig, kEta, 1000, 0, 1);
  EXPECT_EQ(Lines(), rig.log.Take());
  EXPECT_EQ(1u, zu.etaOrderId);
  EXPECT_EQ(kEta - 300, zu.lastEta);
  Configure(rig, R"({"6": true})");
  rig.log.Take();

  // The guidance ends, and a state that ends it starts nothing.
  Navigate(rig, kEta, 1000, 0, 1);
  EXPECT_EQ(Lines({EtaEnd(1)}), rig.log.Take());
  EXPECT_EQ(0u, zu.etaOrderId);
  EXPECT_EQ(0u, zu.lastEta);
  Navigate(rig, kEta, 1000, 0, 1);
  Navigate(rig, 0, 1000);
  EXPECT_EQ(Lines(), rig.log.Take());

  // The route's end 100 m or more from the destination ends the report; just
  // inside, it starts a new one. The route's end 33 hundred-thousandths of a
  // degree further north lies just over 100 m away, 32 just under.
  Navigate(rig, kEta, 900);
  Navigate(rig, kEta, 900, 32);
  Navigate(rig, kEta, 800, 33);
  Navigate(rig, kEta + 60, 800, 33);
  Navigate(rig, kEta + 60, 700, 32);
  EXPECT_EQ(Lines({Eta(1, 0, kEta2000, 900), EtaEnd(1), Eta(1, 0, kEta2000 + 60, 700)}), rig.log.Take());
}

TEST(ApplicationNavigationTest, RoamingWaitsLongerThanTheHomeNetworkByDefault) {
  ApplicationRig rig;
  Reporting(rig, R"({"6": true})");
  rig.application.OnNetworkRegistrationChanged(rig.driver, '5', 0);
  StartOrder(rig, 1);
  rig.log.Take();

  Navigate(rig, kEta);
  Navigate(rig, kEta + 900);
  EXPECT_EQ(Lines({Eta(1, 0, kEta2000, 5000)}), rig.log.Take());
  rig.application.OnNetworkRegistrationChanged(rig.driver, '1', 0);
  Navigate(rig, kEta + 900);
  EXPECT_EQ(Lines({Eta(1, 1, kEta2000 + 900, 5000)}), rig.log.Take());
  EXPECT_EQ(600u, rig.database.config.etaIntervalHome);
  EXPECT_EQ(3600u, rig.database.config.etaIntervalRoaming);
}

TEST(ApplicationNavigationTest, ReportEndsWithItsOrderAndNeverStartsWithoutADestination) {
  ApplicationRig rig;
  Reporting(rig, R"({"6": true})");
  StartOrder(rig, 1);
  Navigate(rig, kEta);
  rig.log.Take();

  // A completed order still exists: its report ends with a message.
  Complete(rig, 1);
  rig.log.Take();
  Navigate(rig, kEta + 10);
  EXPECT_EQ(Lines({EtaEnd(1)}), rig.log.Take());

  // Another order for the same place, started meanwhile, ends the report on
  // the one before and begins its own in the same step.
  StartOrder(rig, 2);
  Navigate(rig, kEta + 20);
  Complete(rig, 2);
  StartOrder(rig, 3);
  rig.log.Take();
  Navigate(rig, kEta + 30, 4000);
  EXPECT_EQ(Lines({EtaEnd(2), Eta(3, 0, kEta2000 + 30, 4000)}), rig.log.Take());
  Navigate(rig, kEta + 40, 3000);
  EXPECT_EQ(Lines(), rig.log.Take());

  // The server deletes the orders: the report ends without a word.
  rig.application.OnReceivedMessage(rig.driver,
                                    ServerMessage(R"({"id": "ResetInMsg", "nodes": {"1": true}})"), true);
  rig.log.Take();
  ASSERT_EQ(3u, rig.database.zu.etaOrderId);
  Navigate(rig, kEta + 40);
  EXPECT_EQ(Lines(), rig.log.Take());
  EXPECT_EQ(0u, rig.database.zu.etaOrderId);

  // An order without a destination is never reported, wherever the route leads.
  StartOrder(rig, 4, false);
  rig.log.Take();
  Navigate(rig, kEta);
  CNavigationStateEvent toNowhere;
  toNowhere.eta = kEta;
  Deliver(rig.application, toNowhere);
  EXPECT_EQ(Lines(), rig.log.Take());
  EXPECT_EQ(0u, rig.database.zu.etaOrderId);
}

TEST(ApplicationNavigationTest, PositionsOfBothSidesAreKeptForTheServersEvents) {
  ApplicationRig rig;
  const auto headerOfNextEvent = [&rig](unsigned driverId) {
    CSetDriverIdAction change;
    change.actionId = driverId;
    change.driverId = driverId;
    Deliver(rig.application, change);
    return rig.log.Take().at(1);
  };

  CGPSEvent position;
  position.val = true;
  position.lat = kNavLatitude;
  position.lon = -kNavLongitude;
  position.ts = kEta;
  position.speed = 50;
  position.course = 91;
  position.sat = 7;
  Deliver(rig.application, position);
  const data::GPSInfo& navigation = rig.database.zu.gps;
  EXPECT_EQ('A', navigation.status);
  EXPECT_EQ(kEta, navigation.time);
  EXPECT_EQ(
      "server 0x0507 DriverIdChangedOutMsg time=T linkAge=-1 navigationPosition={valid=true "
      "latitude=52370210 longitude=-4895160 time=" +
          std::to_string(kEta2000) + " satellites=7 course=45 speed=50} driverId=1 previousDriverId=0",
      headerOfNextEvent(1));

  // No fix keeps the last position, marked as such.
  CGPSEvent lost;
  lost.val = false;
  lost.lat = 1;
  Deliver(rig.application, lost);
  EXPECT_EQ('L', navigation.status);
  EXPECT_EQ(data::Position(kNavLatitude * 10, -kNavLongitude * 10), navigation.position);
  EXPECT_NE(std::string::npos,
            headerOfNextEvent(2).find(" navigationPosition={valid=false latitude=52370210 "));

  // A live fix of the unit stands alone; once it is only last known, both go.
  rig.application.OnNewGPSFix(rig.driver, Fix(kLatitude), velarn::GPSFixEx());
  const data::VelarnParameters& unit = rig.database.velarn;
  EXPECT_EQ('A', unit.gps.status);
  EXPECT_EQ(300000000u + 946684800u, unit.gps.time);
  EXPECT_EQ(
      "server 0x0507 DriverIdChangedOutMsg time=T linkAge=-1 unitPosition={valid=true latitude=52370216 "
      "longitude=4895168 time=300000000 satellites=6 course=117 speed=100} tripValue=77 driverId=3 "
      "previousDriverId=2",
      headerOfNextEvent(3));
  rig.application.OnInterrupted(rig.driver);
  rig.log.Take();
  const std::string header = headerOfNextEvent(4);
  EXPECT_NE(std::string::npos, header.find(" unitPosition={valid=false ")) << header;
  EXPECT_NE(std::string::npos, header.find(" navigationPosition={valid=false ")) << header;
}

TEST(ApplicationNavigationTest, UnitFixesGoToAnOpenFeedAndAreStoredWhateverHappensThere) {
  ApplicationRig rig;
  const data::GPSInfo& stored = rig.database.velarn.gps;

  // A closed feed gets nothing; the fix is kept.
  rig.application.OnNewGPSFix(rig.driver, Fix(1000), FixEx());
  EXPECT_EQ(Lines(), rig.log.Take());
  EXPECT_EQ(1000, stored.position.latitude);

  common::Buffer wanted(4, 200);
  wanted.Append("\x01", 1);
  rig.application.OnConnected(rig.driver, true);
  rig.application.OnVelarnParamResponse(rig.driver, "GPF", wanted);
  rig.log.Take();
  rig.application.OnNewGPSFix(rig.driver, Fix(2000), FixEx());
  const Lines gps = rig.log.Of("gps");
  ASSERT_EQ(4u, gps.size());
  EXPECT_EQ(kRmc, gps[0]);
  EXPECT_EQ(kGsa, UpToChecksum(gps[1]));
  EXPECT_EQ(kGsv1, UpToChecksum(gps[2]));
  EXPECT_EQ(kGsv2, UpToChecksum(gps[3]));
  EXPECT_EQ(4u, rig.log.Take().size());
  EXPECT_EQ(2000, stored.position.latitude);

  // Without the extended block nothing is written; a failing feeder loses the
  // sentences, not the fix.
  rig.application.OnNewGPSFix(rig.driver, Fix(3000), velarn::GPSFixEx());
  EXPECT_EQ(3000, stored.position.latitude);
  rig.feeder.failWrites = true;
  rig.application.OnNewGPSFix(rig.driver, Fix(4000), FixEx());
  EXPECT_EQ(4000, stored.position.latitude);
  EXPECT_EQ(Lines(), rig.log.Take());
  rig.feeder.failWrites = false;

  // The lost link closes the feed; a new connection doesn't reopen it before
  // the unit has answered again.
  rig.application.OnInterrupted(rig.driver);
  EXPECT_EQ(
      Lines({"gps Close", "nav CGPSFeedEvent Enabled=false", "nav CConnectionStateEvent Connected=false"}),
      rig.log.Take());
  rig.application.OnConnected(rig.driver, false);
  rig.application.OnNewGPSFix(rig.driver, Fix(5000), FixEx());
  EXPECT_EQ(Lines(), rig.log.Of("gps"));
  EXPECT_EQ('A', stored.status);
  EXPECT_EQ(5000, stored.position.latitude);
}

TEST(ApplicationNavigationTest, NetworkRegistrationDigitsSetRegisteredAndHome) {
  ApplicationRig rig;
  const data::VelarnParameters& unit = rig.database.velarn;
  const struct {
    unsigned status;
    bool registered;
    bool home;
  } cases[] = {{'1', true, true}, {'5', true, false}, {'2', false, false}, {'0', false, false},
               {1, false, false}, {'5', true, false}, {5, false, false}};
  for (const auto& c : cases) {
    rig.application.OnNetworkRegistrationChanged(rig.driver, c.status, '1');
    EXPECT_EQ(c.registered, unit.registered) << c.status;
    EXPECT_EQ(c.home, unit.homeNetwork) << c.status;
  }
  EXPECT_EQ(Lines(), rig.log.Take());
}

TEST(ApplicationNavigationTest, FixesReachAReaderOfTheNamedPipeOnceTheUnitWantsTheFeed) {
  testsupport::TempDir folder;
  const std::string path = folder.File("gps.pipe");
  velarndtest::EventLog log;
  data::Database database(folder.File("velarnd.db"));
  velarndtest::FakeDriver driver(log);
  velarndtest::RecordingSender sender(log);
  // The feeder clears the process's file mode mask; the other tests of this
  // process get theirs back.
  const mode_t mask = ::umask(0);
  nmea::NamedPipeGPSFeeder feeder(path);
  ::umask(mask);
  velarnd::Application application(database, driver, feeder);
  application.SetSender(&sender);

  const int reader = ::open(path.c_str(), O_RDONLY | O_NONBLOCK);
  ASSERT_NE(-1, reader);
  driver.connected = true;
  application.OnConnected(driver, true);
  application.OnNewGPSFix(driver, Fix(kLatitude), FixEx());
  EXPECT_FALSE(feeder.IsOpen());

  common::Buffer wanted(4, 200);
  wanted.Append("\x01", 1);
  application.OnVelarnParamResponse(driver, "GPF", wanted);
  EXPECT_TRUE(feeder.IsOpen());
  EXPECT_EQ("nav CGPSFeedEvent Enabled=true", log.lines.back());

  application.OnNewGPSFix(driver, Fix(kLatitude), FixEx());
  const std::string text = ReadLines(reader, 4, std::chrono::seconds(10));
  std::vector<std::string> sentences;
  for (size_t start = 0, end; (end = text.find("\r\n", start)) != std::string::npos; start = end + 2) {
    sentences.push_back(text.substr(start, end - start));
  }
  ASSERT_EQ(4u, sentences.size()) << text;
  EXPECT_EQ(kRmc, sentences[0]);
  EXPECT_EQ(kGsa, UpToChecksum(sentences[1]));
  EXPECT_EQ(kGsv1, UpToChecksum(sentences[2]));
  EXPECT_EQ(kGsv2, UpToChecksum(sentences[3]));
  EXPECT_EQ(text.size(), text.rfind("\r\n") + 2) << "no partial sentence follows";

  // The lost link closes the feed: the reader sees the end and nothing more.
  application.OnInterrupted(driver);
  EXPECT_FALSE(feeder.IsOpen());
  application.OnNewGPSFix(driver, Fix(kLatitude), FixEx());
  EXPECT_EQ("", ReadLines(reader, 1, std::chrono::seconds(10)));

  ::close(reader);
  application.SetSender(nullptr);
}

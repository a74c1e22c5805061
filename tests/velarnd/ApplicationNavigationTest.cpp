// Position data through the application: arrival reports to the server from
// the navigation state, the unit's fixes (stored, and relayed as NMEA
// sentences into the GPS feed), and the unit's mobile network. How positions
// show in the server's events is left to the core's tests.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "bkcom/Actions.h"
#include "bkcom/Events.h"
#include "data/Database.h"
#include "velarn/pdu/GPSFix.h"
#include "velarnd/ApplicationHarness.h"

using namespace velarndtest;

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
  NewOrder(rig, id, false, withDestination ? R"(, "6": {"1": 52370216, "2": 4895168, "3": "Depot"})" : "");
  OrderAction<CMarkReadOrderAction>(rig, 100 + id, id);
  OrderAction<CStartOrderAction>(rig, 200 + id, id);
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

// The stored fix; only the sentences come from the extended one.
velarn::GPSFix Fix(int32_t latitude) {
  velarn::GPSFix fix;
  fix.status = 'A';
  fix.latitude = latitude;
  return fix;
}

const char* const kRmc = "$GPRMC,052000,A,5222.2129,N,00453.7100,E,54.0,234.5,040709,,";
const char* const kGsa = "$GPGSA,A,3,01,02,05,,,,,,,,,,2.5,1.2,2.0";
const char* const kGsv1 = "$GPGSV,2,1,5,1,45,0,30,2,45,90,31,3,45,180,32,4,45,270,33";
const char* const kGsv2 = "$GPGSV,2,2,5,5,45,360,34";

}  // namespace

TEST(ApplicationNavigationTest, ArrivalReportsTellTheFirstEstimateItsShiftsAndTheEnd) {
  ApplicationRig rig;
  Reporting(rig, R"({"6": true, "7": 0, "8": 0})");
  StartOrder(rig, 1);
  rig.log.Take();
  const data::ConfigParameters& config = rig.database.config;
  const data::ZUParameters& zu = rig.database.zu;

  // The first estimate for the active order's destination; the intervals from
  // the server are raised to their least values for good.
  Navigate(rig, kEta, 5000);
  EXPECT_EQ(Lines({Eta(1, 0, kEta2000, 5000)}), rig.log.Take());
  EXPECT_EQ(300u, config.etaIntervalHome);
  EXPECT_EQ(600u, config.etaIntervalRoaming);

  // In the home network a shift of 300 seconds, either way, is news.
  Navigate(rig, kEta + 299, 4900);
  Navigate(rig, kEta - 299, 4800);
  Navigate(rig, 0, 4700);
  EXPECT_EQ(Lines(), rig.log.Take());
  Navigate(rig, kEta + 300, 4000);
  EXPECT_EQ(Lines({Eta(1, 1, kEta2000 + 300, 4000)}), rig.log.Take());

  // Roaming it takes 600, measured from the last report.
  rig.application.OnNetworkRegistrationChanged(rig.driver, '5', 0);
  Navigate(rig, kEta + 899, 3000);
  EXPECT_EQ(Lines(), rig.log.Take());
  Navigate(rig, kEta - 300, 3000);
  EXPECT_EQ(Lines({Eta(1, 1, kEta2000 - 300, 3000)}), rig.log.Take());

  // Without the network (registered is '1' at home or '5' roaming, nothing
  // else), the link or the feature nothing moves, not even the end of the
  // guidance.
  for (unsigned notRegistered : {unsigned('0'), unsigned('2'), 1u, 5u}) {
    rig.application.OnNetworkRegistrationChanged(rig.driver, notRegistered, 0);
    Navigate(rig, kEta, 1000, 0, 1);
  }
  rig.application.OnNetworkRegistrationChanged(rig.driver, '1', 0);
  rig.driver.connected = false;
  Navigate(rig, kEta, 1000, 0, 1);
  rig.driver.connected = true;
  EXPECT_EQ(Lines(), rig.log.Take());
  Configure(rig, R"({"6": false})");
  rig.log.Take();
  Navigate(rig, kEta, 1000, 0, 1);
  EXPECT_EQ(Lines(), rig.log.Take());
  EXPECT_EQ(kEta - 300, zu.lastEta);
  Configure(rig, R"({"6": true})");
  rig.log.Take();

  // The guidance ends, and a state that ends it starts nothing.
  Navigate(rig, kEta, 1000, 0, 1);
  EXPECT_EQ(Lines({EtaEnd(1)}), rig.log.Take());
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

TEST(ApplicationNavigationTest, ReportsWaitTheDefaultIntervalsEndWithTheirOrderAndNeedADestination) {
  ApplicationRig rig;
  Reporting(rig, R"({"6": true})");
  rig.application.OnNetworkRegistrationChanged(rig.driver, '5', 0);
  StartOrder(rig, 1);
  rig.log.Take();

  // The server's intervals by default: roaming waits longer than the home
  // network.
  Navigate(rig, kEta);
  Navigate(rig, kEta + 900);
  EXPECT_EQ(Lines({Eta(1, 0, kEta2000, 5000)}), rig.log.Take());
  rig.application.OnNetworkRegistrationChanged(rig.driver, '1', 0);
  Navigate(rig, kEta + 900);
  EXPECT_EQ(Lines({Eta(1, 1, kEta2000 + 900, 5000)}), rig.log.Take());

  // A completed order still exists: its report ends with a message.
  OrderAction<CCompleteOrderAction>(rig, 301, 1);
  rig.log.Take();
  Navigate(rig, kEta + 10);
  EXPECT_EQ(Lines({EtaEnd(1)}), rig.log.Take());

  // Another order for the same place, started meanwhile, ends the report on
  // the one before and begins its own in the same step.
  StartOrder(rig, 2);
  Navigate(rig, kEta + 20);
  OrderAction<CCompleteOrderAction>(rig, 302, 2);
  StartOrder(rig, 3);
  rig.log.Take();
  Navigate(rig, kEta + 30, 4000);
  EXPECT_EQ(Lines({EtaEnd(2), Eta(3, 0, kEta2000 + 30, 4000)}), rig.log.Take());
  Navigate(rig, kEta + 40, 3000);
  EXPECT_EQ(Lines(), rig.log.Take());

  // The server deletes the orders: the report ends without a word.
  FromServer(rig, R"({"id": "ResetInMsg", "nodes": {"1": true}})");
  rig.log.Take();
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
}

// The sentences themselves are the NMEA tests'; through the real pipe they
// are the term scenario's.
TEST(ApplicationNavigationTest, FixesFeedTheSentencesWhileTheUnitWantsThemAndAFailingFeedKeepsTheFix) {
  ApplicationRig rig;
  rig.driver.connected = true;
  rig.application.OnConnected(rig.driver, true);
  rig.application.OnNewGPSFix(rig.driver, Fix(kLatitude), FixEx());  // not wanted yet
  rig.application.OnVelarnParamResponse(rig.driver, "GPF", Bytes("\x01"));
  rig.application.OnNewGPSFix(rig.driver, Fix(kLatitude),
                              velarn::GPSFixEx());  // no sentences without the block
  rig.application.OnNewGPSFix(rig.driver, Fix(kLatitude), FixEx());
  // The lost link closes the feed, and nothing follows, not even after a new
  // connection before the unit answers again.
  rig.application.OnInterrupted(rig.driver);
  rig.application.OnConnected(rig.driver, false);
  rig.application.OnNewGPSFix(rig.driver, Fix(kLatitude), FixEx());
  Lines sentences = rig.log.Of("gps");
  for (std::string& sentence : sentences) {
    sentence = sentence.substr(0, sentence.find('*'));  // the checksums are the NMEA tests'
  }
  EXPECT_EQ(Lines({"Open", kRmc, kGsa, kGsv1, kGsv2, "Close"}), sentences);

  rig.application.OnVelarnParamResponse(rig.driver, "GPF", Bytes("\x01"));
  ASSERT_TRUE(rig.feeder.open);
  rig.feeder.failWrites = true;
  rig.application.OnNewGPSFix(rig.driver, Fix(4000), FixEx());
  EXPECT_EQ(4000, rig.database.velarn.gps.position.latitude);
}

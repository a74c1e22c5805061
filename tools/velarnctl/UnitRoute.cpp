#include "velarnctl/UnitRoute.h"

#include <cmath>

namespace velarnctl {

namespace {

struct Waypoint {
  double latitude;   // degrees, north positive
  double longitude;  // degrees, east positive
};

// A loop round an old town, back to its start.
const Waypoint kWaypoints[] = {
    {48.137154, 11.576124}, {48.139600, 11.578200}, {48.141900, 11.577000}, {48.142600, 11.572400},
    {48.140800, 11.567000}, {48.137400, 11.565200}, {48.134300, 11.567900}, {48.133900, 11.572900},
};
const size_t kWaypointCount = sizeof(kWaypoints) / sizeof(kWaypoints[0]);

const double kMetresPerDegree = 111320.0;
const double kPi = 3.14159265358979323846;

// The offset between two waypoints in metres, east and north.
void Offset(const Waypoint& from, const Waypoint& to, double& east, double& north) {
  north = (to.latitude - from.latitude) * kMetresPerDegree;
  east = (to.longitude - from.longitude) * kMetresPerDegree * std::cos(from.latitude * kPi / 180.0);
}

double LegLength(size_t leg) {
  double east = 0;
  double north = 0;
  Offset(kWaypoints[leg], kWaypoints[(leg + 1) % kWaypointCount], east, north);
  return std::sqrt(east * east + north * north);
}

struct Satellite {
  uint8_t number;
  uint8_t signal;
  int16_t elevation;
  uint16_t azimuth;
  bool used;
};

const Satellite kSatellites[] = {
    {3, 42, 61, 127, true},  {6, 38, 35, 58, true},  {9, 44, 72, 281, true},  {12, 31, 18, 203, true},
    {17, 40, 44, 319, true}, {19, 36, 27, 95, true}, {22, 33, 12, 164, true}, {28, 21, 6, 15, false},
};

}  // namespace

UnitRoute::UnitRoute(unsigned speedKmh) : speedKmh(speedKmh), leg(0), along(0), driven(0) {}

void UnitRoute::Advance(unsigned milliseconds) {
  double metres = speedKmh / 3.6 * milliseconds / 1000.0;
  driven += metres;
  for (;;) {
    const double rest = LegLength(leg) - along;
    if (metres < rest) {
      along += metres;
      return;
    }
    metres -= rest;
    along = 0;
    leg = (leg + 1) % kWaypointCount;
  }
}

void UnitRoute::Place(int32_t& latitude, int32_t& longitude, unsigned& course) const {
  const Waypoint& from = kWaypoints[leg];
  const Waypoint& to = kWaypoints[(leg + 1) % kWaypointCount];
  const double share = along / LegLength(leg);
  latitude = static_cast<int32_t>(std::lround((from.latitude + (to.latitude - from.latitude) * share) * 1e6));
  longitude =
      static_cast<int32_t>(std::lround((from.longitude + (to.longitude - from.longitude) * share) * 1e6));
  double east = 0;
  double north = 0;
  Offset(from, to, east, north);
  const double degrees = std::atan2(east, north) * 180.0 / kPi;
  course = static_cast<unsigned>(std::lround(degrees < 0 ? degrees + 360.0 : degrees)) % 360;
}

void UnitRoute::Fill(uint32_t time, velarn::GPSFix& fix, velarn::GPSFixEx& fixEx) const {
  int32_t latitude = 0;
  int32_t longitude = 0;
  unsigned course = 0;
  Place(latitude, longitude, course);

  unsigned used = 0;
  for (const Satellite& satellite : kSatellites) {
    used += satellite.used ? 1 : 0;
  }

  fix = velarn::GPSFix();
  fix.status = 'A';
  fix.latitude = latitude;
  fix.longitude = longitude;
  fix.time = time;
  fix.satellites = static_cast<uint8_t>(used);
  fix.speed = static_cast<uint16_t>(speedKmh);
  fix.course = static_cast<uint16_t>(course);
  fix.tripValue = Driven();

  fixEx = velarn::GPSFixEx();
  fixEx.status = 'A';
  fixEx.latitude = latitude;
  fixEx.longitude = longitude;
  fixEx.time = time;
  fixEx.speed = static_cast<uint16_t>(speedKmh * 10);
  fixEx.course = static_cast<uint16_t>(course * 10);
  fixEx.hdop = 9;  // 0.9
  fixEx.pdop = 16;
  fixEx.vdop = 13;
  fixEx.magneticVariation = 31;  // 3.1 degrees east
  fixEx.magneticVariationDirection = 'E';
  fixEx.fixType = 3;
  fixEx.fixMode = 'A';
  fixEx.satelliteMask = 0;
  fixEx.satelliteCount = static_cast<uint8_t>(sizeof(kSatellites) / sizeof(kSatellites[0]));
  for (unsigned i = 0; i < fixEx.satelliteCount; ++i) {
    const Satellite& satellite = kSatellites[i];
    fixEx.satellites[i].number = satellite.number;
    fixEx.satellites[i].signal = satellite.signal;
    fixEx.satellites[i].elevation = satellite.elevation;
    fixEx.satellites[i].azimuth = satellite.azimuth;
    if (satellite.used) {
      fixEx.satelliteMask |= static_cast<uint64_t>(1) << (satellite.number - 1);
    }
  }
}

}  // namespace velarnctl

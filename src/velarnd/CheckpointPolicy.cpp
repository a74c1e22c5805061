#include "velarnd/CheckpointPolicy.h"

#include <utility>

#include "data/Database.h"
#include "data/DatabaseFile.h"

namespace velarnd {

namespace {

// The slow data of a database, kept aside for as long as this lives, so that
// what is left of the database can be encoded without it.
class SlowDataAside {
 public:
  explicit SlowDataAside(data::Database& database) : database(database) { Swap(); }
  ~SlowDataAside() { Swap(); }
  SlowDataAside(const SlowDataAside&) = delete;
  SlowDataAside& operator=(const SlowDataAside&) = delete;

 private:
  // Exchanges these fields with the database's.
  void Swap() {
    data::VelarnParameters& unit = database.velarn;
    data::LogbookInfo& logbook = unit.logbook;
    std::swap(unitGps, unit.gps);
    std::swap(odometer, unit.odometer);
    std::swap(tripValue, unit.tripValue);
    std::swap(linkLostAt, unit.linkLostAt);
    std::swap(tripValid, logbook.tripValid);
    std::swap(tripOdometer, logbook.tripOdometer);
    std::swap(tripStarted, logbook.tripStarted);
    std::swap(tripDuration, logbook.tripDuration);
    std::swap(tripDistance, logbook.tripDistance);
    std::swap(navigationGps, database.zu.gps);
    std::swap(lastEta, database.zu.lastEta);
    std::swap(etaOrderId, database.zu.etaOrderId);
  }

  data::Database& database;
  data::GPSInfo unitGps;
  unsigned odometer = 0;
  unsigned tripValue = 0;
  uint64_t linkLostAt = 0;
  bool tripValid = false;
  unsigned tripOdometer = 0;
  unsigned tripStarted = 0;
  unsigned tripDuration = 0;
  unsigned tripDistance = 0;
  data::GPSInfo navigationGps;
  unsigned lastEta = 0;
  unsigned etaOrderId = 0;
};

template <class T>
void AppendBytes(std::string& bytes, const T& value) {
  bytes.append(reinterpret_cast<const char*>(&value), sizeof(value));
}

void AppendGps(std::string& bytes, const data::GPSInfo& gps) {
  AppendBytes(bytes, gps.status);
  AppendBytes(bytes, gps.position.latitude);
  AppendBytes(bytes, gps.position.longitude);
  AppendBytes(bytes, gps.time);
  AppendBytes(bytes, gps.satellites);
  AppendBytes(bytes, gps.speed);
  AppendBytes(bytes, gps.course);
}

// The slow data (the fields SlowDataAside takes) as bytes, to tell whether it
// changed.
std::string SlowBytes(const data::Database& database) {
  const data::VelarnParameters& unit = database.velarn;
  const data::LogbookInfo& logbook = unit.logbook;
  std::string bytes;
  AppendGps(bytes, unit.gps);
  AppendBytes(bytes, unit.odometer);
  AppendBytes(bytes, unit.tripValue);
  AppendBytes(bytes, unit.linkLostAt);
  AppendBytes(bytes, logbook.tripValid);
  AppendBytes(bytes, logbook.tripOdometer);
  AppendBytes(bytes, logbook.tripStarted);
  AppendBytes(bytes, logbook.tripDuration);
  AppendBytes(bytes, logbook.tripDistance);
  AppendGps(bytes, database.zu.gps);
  AppendBytes(bytes, database.zu.lastEta);
  AppendBytes(bytes, database.zu.etaOrderId);
  return bytes;
}

}  // namespace

CheckpointPolicy::CheckpointPolicy(data::Database& database) : database(database) {}

uint64_t CheckpointPolicy::DigestLasting() {
  std::string bytes;
  {
    const SlowDataAside aside(database);
    bytes = data::EncodeDatabase(database);
  }
  uint64_t digest = 14695981039346656037ull;
  for (const char byte : bytes) {
    digest = (digest ^ static_cast<unsigned char>(byte)) * 1099511628211ull;
  }
  return digest;
}

void CheckpointPolicy::Written() {
  lastingWritten = DigestLasting();
  slowWritten = SlowBytes(database);
  sinceWriteMs = 0;
}

CheckpointPolicy::Change CheckpointPolicy::Compare() {
  if (DigestLasting() != lastingWritten) {
    return Lasting;
  }
  return SlowBytes(database) != slowWritten ? SlowDataOnly : None;
}

bool CheckpointPolicy::Due(uint64_t elapsedMs) {
  sinceWriteMs += elapsedMs;
  switch (Compare()) {
    case Lasting:
      return true;
    case SlowDataOnly:
      return sinceWriteMs >= kSlowDataMs;
    case None:
      break;
  }
  return false;
}

}  // namespace velarnd

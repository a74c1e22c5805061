#include "velarnd/CheckpointPolicy.h"

#include <utility>

#include "data/Database.h"
#include "data/DatabaseFile.h"

namespace velarnd {

namespace {

// The slow data of a database, moved out of it and back.
struct SlowData {
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

  // Exchanges these fields with the database's.
  void Swap(data::Database& database) {
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

// The slow data as bytes, to tell whether it changed.
std::string SlowBytes(data::Database& database) {
  SlowData slow;
  slow.Swap(database);
  std::string bytes;
  AppendGps(bytes, slow.unitGps);
  AppendBytes(bytes, slow.odometer);
  AppendBytes(bytes, slow.tripValue);
  AppendBytes(bytes, slow.linkLostAt);
  AppendBytes(bytes, slow.tripValid);
  AppendBytes(bytes, slow.tripOdometer);
  AppendBytes(bytes, slow.tripStarted);
  AppendBytes(bytes, slow.tripDuration);
  AppendBytes(bytes, slow.tripDistance);
  AppendGps(bytes, slow.navigationGps);
  AppendBytes(bytes, slow.lastEta);
  AppendBytes(bytes, slow.etaOrderId);
  slow.Swap(database);
  return bytes;
}

}  // namespace

CheckpointPolicy::CheckpointPolicy(data::Database& database) : database(database) {}

uint64_t CheckpointPolicy::DigestLasting() {
  SlowData slow;
  slow.Swap(database);
  std::string bytes;
  try {
    bytes = data::EncodeDatabase(database);
  } catch (...) {
    slow.Swap(database);
    throw;
  }
  slow.Swap(database);
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

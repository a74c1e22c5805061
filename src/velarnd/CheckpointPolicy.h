#pragma once

#include <cstdint>
#include <string>

namespace data {
class Database;
}

namespace velarnd {

// Decides when the running service writes its database, so that a power cut
// loses little while the flash isn't worn out by a file rewritten every few
// seconds for a moving vehicle.
//
// The database's content falls into two kinds:
// - slow data, which changes all the time while the vehicle moves and is
//   worth little after a power cut: the unit's and the navigation
//   application's positions (GPS), the odometer, the trip value and the
//   logbook's trip figures, the arrival-report bookkeeping (last reported
//   arrival time and its order) and the time the unit link was last lost;
// - everything else: inbox, statuses, driver, working time, logbook mode,
//   configuration, unit and network parameters.
// A change of the second kind is due at the next checkpoint; a change of
// slow data alone only once kSlowDataMs have passed since the last write.
//
// Not thread-safe: the caller holds the lock that guards the database.
class CheckpointPolicy {
 public:
  static constexpr uint64_t kSlowDataMs = 10 * 60 * 1000;

  enum Change { None, SlowDataOnly, Lasting };

  explicit CheckpointPolicy(data::Database& database);

  // The database as it is now is the file's content (after a load or a
  // successful write); the time since the last write starts anew.
  void Written();
  // What changed since Written().
  Change Compare();
  // Called at every checkpoint with the time since the previous one: true
  // when the database should be written now.
  bool Due(uint64_t elapsedMs);

 private:
  // A 64-bit digest (FNV-1a) of the archive of the database with the slow
  // data at its defaults. A digest rather than the archive itself: a full
  // database is megabytes, and a copy would stay in memory for good.
  uint64_t DigestLasting();

  data::Database& database;
  uint64_t lastingWritten = 0;
  std::string slowWritten;
  uint64_t sinceWriteMs = 0;
};

}  // namespace velarnd

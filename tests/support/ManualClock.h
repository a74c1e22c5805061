#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "common/Clock.h"

namespace testsupport {

// A clock whose time moves only when the test moves it, so that timer tests
// don't wait in real time. Install it (ScopedClock) before building the
// objects that keep a clock: timer managers take the process's clock when
// they are built.
class ManualClock : public common::Clock {
 public:
  // 2026-01-01 00:00:00 UTC on the wall clock, an arbitrary monotonic origin.
  static constexpr uint64_t kDefaultWallMs = 1767225600000ull;

  explicit ManualClock(uint64_t wallMs = kDefaultWallMs);

  uint64_t MonotonicMs() override { return monotonic; }
  uint64_t WallMs() override { return monotonic + wallOffset; }

  // Lets both clocks run on by milliseconds, and returns once every timer
  // manager on this clock has fired what is due by then. One thread at a
  // time; not with the mutex of a timer manager held.
  void Advance(uint64_t milliseconds);
  // Steps the wall clock alone, as setting the system time does.
  void StepWall(int64_t milliseconds) { wallOffset += static_cast<uint64_t>(milliseconds); }

  // An alarm that rings when set to a time already reached, and when woken
  // (the timer managers on this clock are woken by each move).
  std::unique_ptr<Alarm> NewAlarm() override;
  // Time passes while one sleeps: the same as Advance.
  void SleepFor(uint64_t milliseconds) override { Advance(milliseconds); }
  void AddSleeper(Sleeper* sleeper) override;
  void RemoveSleeper(Sleeper* sleeper) override;

 private:
  std::atomic<uint64_t> monotonic;
  std::atomic<uint64_t> wallOffset;  // wall = monotonic + offset, modulo 2^64
  std::mutex sleepersMutex;
  std::vector<Sleeper*> sleepers;
};

// Makes clock the process's clock for the life of this object.
class ScopedClock {
 public:
  explicit ScopedClock(common::Clock& clock) { common::SetClock(&clock); }
  ~ScopedClock() { common::SetClock(nullptr); }
  ScopedClock(const ScopedClock&) = delete;
  ScopedClock& operator=(const ScopedClock&) = delete;
};

}  // namespace testsupport

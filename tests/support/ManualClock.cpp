#include "support/ManualClock.h"

#include <algorithm>

namespace testsupport {

namespace {

// Far from 0, so that a test's differences never wrap.
constexpr uint64_t kMonotonicOrigin = 1000000000ull;

}  // namespace

ManualClock::ManualClock(uint64_t wallMs)
    : monotonic(kMonotonicOrigin), wallOffset(wallMs - kMonotonicOrigin) {}

void ManualClock::Advance(uint64_t milliseconds) {
  std::lock_guard<std::mutex> lock(sleepersMutex);
  monotonic += milliseconds;
  for (Sleeper* sleeper : sleepers) {
    sleeper->OnClockMoved();
  }
}

void ManualClock::WaitUntil(std::condition_variable& changed, std::unique_lock<std::mutex>& lock,
                            uint64_t deadlineMs) {
  // The sleeper holds lock, which its OnClockMoved takes too, so a move
  // between this test and the wait can't be missed.
  if (monotonic < deadlineMs) {
    changed.wait(lock);
  }
}

void ManualClock::AddSleeper(Sleeper* sleeper) {
  std::lock_guard<std::mutex> lock(sleepersMutex);
  sleepers.push_back(sleeper);
}

void ManualClock::RemoveSleeper(Sleeper* sleeper) {
  std::lock_guard<std::mutex> lock(sleepersMutex);
  sleepers.erase(std::remove(sleepers.begin(), sleepers.end(), sleeper), sleepers.end());
}

}  // namespace testsupport

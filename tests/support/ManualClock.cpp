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

namespace {

class ManualAlarm : public common::Clock::Alarm {
 public:
  explicit ManualAlarm(ManualClock& clock) : clock(clock) {}
  void Set(uint64_t deadlineMs) override {
    if (deadlineMs <= clock.MonotonicMs()) {
      Wake();
    }
  }
  void Wake() override {
    std::lock_guard<std::mutex> lock(mutex);
    woken = true;
    rung.notify_all();
  }
  void Wait() override {
    std::unique_lock<std::mutex> lock(mutex);
    rung.wait(lock, [this] { return woken; });
    woken = false;
  }

 private:
  ManualClock& clock;
  std::mutex mutex;
  std::condition_variable rung;
  bool woken = false;
};

}  // namespace

std::unique_ptr<common::Clock::Alarm> ManualClock::NewAlarm() {
  return std::unique_ptr<Alarm>(new ManualAlarm(*this));
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

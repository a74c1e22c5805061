#include "common/Clock.h"

#include <sys/time.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace common {

namespace {

SystemClock systemClock;
std::atomic<Clock*> processClock{&systemClock};

}  // namespace

uint64_t SystemClock::MonotonicMs() {
  return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                   std::chrono::steady_clock::now().time_since_epoch())
                                   .count());
}

uint64_t SystemClock::WallMs() {
  timeval now{};
  gettimeofday(&now, nullptr);
  return static_cast<uint64_t>(now.tv_sec) * 1000u + static_cast<uint64_t>(now.tv_usec) / 1000u;
}

void SystemClock::WaitUntil(std::condition_variable& changed, std::unique_lock<std::mutex>& lock,
                            uint64_t deadlineMs) {
  // The condition variable waits on CLOCK_MONOTONIC for a steady_clock time
  // point, so a step of the wall clock neither shortens nor stretches it.
  changed.wait_until(lock, std::chrono::steady_clock::time_point(std::chrono::milliseconds(deadlineMs)));
}

void SystemClock::SleepFor(uint64_t milliseconds) {
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

Clock& GetClock() { return *processClock.load(std::memory_order_acquire); }

void SetClock(Clock* clock) {
  processClock.store(clock != nullptr ? clock : &systemClock, std::memory_order_release);
}

}  // namespace common

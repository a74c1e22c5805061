#include "common/Clock.h"

#include <sys/time.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <thread>

#include "common/Exceptions.h"

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

namespace {

// steady_clock is CLOCK_MONOTONIC, so MonotonicMs() and the timerfd count the
// same milliseconds; a step of the wall clock moves neither.
class TimerFdAlarm : public Clock::Alarm {
 public:
  TimerFdAlarm() : fd(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC)) {
    if (fd < 0) {
      throw IOException("can't create timer", errno);
    }
  }
  ~TimerFdAlarm() override { close(fd); }

  void Set(uint64_t deadlineMs) override {
    itimerspec when{};
    if (deadlineMs != kNever) {
      when.it_value.tv_sec = static_cast<time_t>(deadlineMs / 1000);
      when.it_value.tv_nsec = static_cast<long>(deadlineMs % 1000) * 1000000;
      if (when.it_value.tv_sec == 0 && when.it_value.tv_nsec == 0) {
        when.it_value.tv_nsec = 1;  // zero would disarm it
      }
    }
    timerfd_settime(fd, TFD_TIMER_ABSTIME, &when, nullptr);
  }
  void Wake() override {
    // A moment long past: expires at once.
    itimerspec when{};
    when.it_value.tv_nsec = 1;
    timerfd_settime(fd, TFD_TIMER_ABSTIME, &when, nullptr);
  }
  void Wait() override {
    uint64_t expirations = 0;
    if (read(fd, &expirations, sizeof(expirations)) < 0) {
      // Interrupted: the caller looks at the time again.
    }
  }

 private:
  const int fd;
};

}  // namespace

std::unique_ptr<Clock::Alarm> SystemClock::NewAlarm() { return std::unique_ptr<Alarm>(new TimerFdAlarm); }

void SystemClock::SleepFor(uint64_t milliseconds) {
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

Clock& GetClock() { return *processClock.load(std::memory_order_acquire); }

void SetClock(Clock* clock) {
  processClock.store(clock != nullptr ? clock : &systemClock, std::memory_order_release);
}

}  // namespace common

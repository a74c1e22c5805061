#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace common {

// The two time sources of the service.
//
// In a vehicle the wall clock jumps: it is set from GPS or the network some
// time after boot, by hours or years. So every timer and time-out runs on the
// monotonic clock, which no change of the system time moves, and the wall
// clock is read only where a time is reported or stored (GetTime, GetTimeMs).
//
// The process has one clock (GetClock), the system's unless a test installs
// another before it builds the objects that use it: a timer manager keeps the
// clock it was built with.
class Clock {
 public:
  // Something that sleeps until a deadline of this clock (a timer thread).
  // A clock whose time is moved by hand tells its sleepers after each move;
  // the system clock never needs to, as its sleeps end by themselves.
  class Sleeper {
   public:
    virtual void OnClockMoved() = 0;

   protected:
    ~Sleeper() = default;
  };

  virtual ~Clock() = default;

  // Milliseconds from an arbitrary origin; never goes back, never jumps.
  virtual uint64_t MonotonicMs() = 0;
  // Milliseconds since 1970-01-01 UTC; may jump either way.
  virtual uint64_t WallMs() = 0;

  // With lock held, waits on changed until MonotonicMs() may have reached
  // deadlineMs or the condition is notified. May return early (spuriously):
  // callers test their condition again.
  virtual void WaitUntil(std::condition_variable& changed, std::unique_lock<std::mutex>& lock,
                         uint64_t deadlineMs) = 0;
  // Lets the monotonic time pass by milliseconds.
  virtual void SleepFor(uint64_t milliseconds) = 0;

  virtual void AddSleeper(Sleeper* /*sleeper*/) {}
  virtual void RemoveSleeper(Sleeper* /*sleeper*/) {}
};

// CLOCK_MONOTONIC (through steady_clock) and gettimeofday.
class SystemClock : public Clock {
 public:
  uint64_t MonotonicMs() override;
  uint64_t WallMs() override;
  void WaitUntil(std::condition_variable& changed, std::unique_lock<std::mutex>& lock,
                 uint64_t deadlineMs) override;
  void SleepFor(uint64_t milliseconds) override;
};

// The process's clock.
Clock& GetClock();
// Installs clock for the whole process (null: the system clock again). Only
// while nothing that keeps the clock (a timer manager) exists.
void SetClock(Clock* clock);

// GetClock().MonotonicMs(): for time-outs outside timers.
inline uint64_t GetMonotonicMs() { return GetClock().MonotonicMs(); }

}  // namespace common

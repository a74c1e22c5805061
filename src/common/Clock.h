#pragma once

#include <cstdint>
#include <memory>

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

  // What a timer thread sleeps on: one thread waits in Wait until the
  // deadline set last passes or another thread calls Wake; Set and Wake may
  // come from any thread, before or during the Wait, and are never lost.
  // Wait may also return early: callers look at the time again.
  class Alarm {
   public:
    static constexpr uint64_t kNever = ~static_cast<uint64_t>(0);
    virtual ~Alarm() = default;
    // A point of MonotonicMs(); kNever disarms.
    virtual void Set(uint64_t deadlineMs) = 0;
    virtual void Wake() = 0;
    virtual void Wait() = 0;
  };
  virtual std::unique_ptr<Alarm> NewAlarm() = 0;

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
  // A timerfd on CLOCK_MONOTONIC: moving the deadline is one system call of
  // the caller and doesn't wake the waiting thread; Wake sets it to a moment
  // past. Throws IOException "can't create timer" without descriptors.
  std::unique_ptr<Alarm> NewAlarm() override;
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

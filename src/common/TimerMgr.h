#pragma once

#include <boost/noncopyable.hpp>
#include <boost/shared_ptr.hpp>
#include <boost/thread/recursive_mutex.hpp>
#include <boost/thread/thread.hpp>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "common/Clock.h"

namespace common {

class Timer;

// One thread that fires one-shot timers. It owns no lock: it borrows the
// recursive mutex of its owner, so every callback runs inside the owner's
// critical section and needs no further locking against the owner's other
// entry points.
//
// Deadlines are points of the monotonic clock of the Clock given at
// construction, so a step of the wall clock neither fires a timer early nor
// holds it back. The thread sleeps on the clock's alarm until the earliest
// deadline of its active timers (without any while none is active) instead of
// polling at a tick: an idle service doesn't wake for nothing. A timer started
// with a deadline earlier than the alarm's moves the alarm (on the system
// clock one system call of the caller; the sleeping thread isn't woken for
// it); a clock moved by hand and Stop wake the thread. Stopping a timer
// leaves the alarm: at worst the thread wakes once at the stopped timer's
// deadline, finds nothing due and sleeps on. A timer thus fires at its
// deadline (plus the scheduler's latency and the other callbacks due at the
// same time), never early, and no later than a tick-polling manager would
// have fired it.
class TimerMgr : private boost::noncopyable, private Clock::Sleeper {
 public:
  // tickMilliseconds is the lateness the owners were promised by the earlier
  // tick-polling design; the manager now fires at the deadline, so it no
  // longer plays a part.
  TimerMgr(boost::recursive_mutex& mutex, unsigned tickMilliseconds, Clock& clock = GetClock());
  // Stops the thread if started.
  ~TimerMgr();

  // Throws InvalidOperationException("timer manager was started") if started.
  void Start();
  // Throws InvalidOperationException("timer manager was stopped") if not
  // started. Call it without holding the borrowed mutex: the join waits for
  // a running round of callbacks, which needs it.
  void Stop();

  // For Timer's constructor and destructor only.
  void Register(Timer* timer);
  void Unregister(Timer* timer);

  boost::recursive_mutex& GetMutex() { return mutex; }
  Clock& GetTimeSource() { return clock; }

 private:
  friend class Timer;

  static constexpr uint64_t kNever = ~static_cast<uint64_t>(0);

  // Timer::Start, with the mutex held: moves the alarm if deadline comes
  // before the one it is set to.
  void Scheduled(uint64_t deadline);
  // The thread's loop, and one round of it under the mutex: fires what is
  // due and sets the alarm to the earliest deadline left.
  void Run();
  void FireDue();
  // Clock::Sleeper: the time was moved by hand. Returns once the thread has
  // fired what is due at the new time, so that a test sees the effect at once
  // (not when called on the timer thread itself).
  void OnClockMoved() override;

  boost::recursive_mutex& mutex;
  Clock& clock;
  std::unique_ptr<Clock::Alarm> alarm;
  bool started;
  std::atomic<bool> stopRequested;
  // Under mutex: the deadline the alarm is set to (kNever: none), and
  // whether the thread is firing timers now (it then sets the alarm itself).
  uint64_t nextDeadline;
  bool firing;
  // Under wakeMutex: moves of a clock moved by hand and the last one the
  // thread has served with a round; the thread's id, for OnClockMoved.
  std::mutex wakeMutex;
  std::condition_variable served;
  uint64_t wakesAsked;
  uint64_t wakesServed;
  boost::thread::id threadId;
  boost::shared_ptr<boost::thread> thread;
  std::vector<Timer*> timers;  // in order of registration; not owned
};

}  // namespace common

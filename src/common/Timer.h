#pragma once

#include <boost/function.hpp>
#include <boost/noncopyable.hpp>

#include <cstdint>

namespace common {

class TimerMgr;

// A one-shot timer fired by its TimerMgr. Expiry clears the active flag
// before the callback runs, so a callback that starts its own timer makes a
// periodic one (period: the interval plus the callback's latency). All state
// is guarded by the manager's borrowed mutex. Deadlines are milliseconds of
// the manager's monotonic clock.
//
// A callback may start and stop timers but must not construct or destroy a
// timer of the same manager: the walk holds a position in its list.
class Timer : private boost::noncopyable {
 public:
  using Callback = boost::function<void(Timer&)>;

  Timer(const Callback& callback, TimerMgr& manager, const uint64_t& intervalMilliseconds);
  ~Timer();

  // Deadline = now + interval; restarts a running timer from now. Wakes the
  // manager's thread if it sleeps towards a later deadline.
  void Start();
  // Harmless on a stopped timer.
  void Stop();
  // Takes effect at the next Start(); a running deadline isn't moved.
  void SetInterval(const uint64_t& intervalMilliseconds);

  bool IsActive() const;

 private:
  friend class TimerMgr;

  // Called by the manager's thread with the mutex held.
  void FireIfDue(uint64_t now);

  Callback callback;
  TimerMgr* manager;
  bool active;
  uint64_t interval;
  uint64_t deadline;
};

}  // namespace common

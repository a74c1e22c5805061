#pragma once

#include <boost/noncopyable.hpp>
#include <boost/shared_ptr.hpp>
#include <boost/thread/recursive_mutex.hpp>
#include <boost/thread/thread.hpp>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <vector>

namespace common {

class Timer;

// One thread that polls a list of one-shot timers at a fixed tick and calls the
// callbacks of those that expired. It owns no lock: it borrows the recursive
// mutex of its owner, so every callback runs inside the owner's critical
// section and needs no further locking against the owner's other entry points.
//
// A timer fires between 0 and one tick (plus the other callbacks of that poll)
// after its deadline, never early. The system clock is the time source. Stop
// wakes the thread from its pause, so it returns as soon as a running poll
// has ended.
class TimerMgr : private boost::noncopyable {
 public:
  TimerMgr(boost::recursive_mutex& mutex, unsigned tickMilliseconds);
  // Stops the thread if started.
  ~TimerMgr();

  // Throws InvalidOperationException("timer manager was started") if started.
  void Start();
  // Throws InvalidOperationException("timer manager was stopped") if not
  // started. Call it without holding the borrowed mutex: the join waits for
  // the thread's last poll, which needs it.
  void Stop();

  // For Timer's constructor and destructor only.
  void Register(Timer* timer);
  void Unregister(Timer* timer);

  boost::recursive_mutex& GetMutex() { return mutex; }

 private:
  void Poll();

  boost::recursive_mutex& mutex;
  bool started;
  std::atomic<bool> stopRequested;
  // Wakes the poll from its pause when Stop is called.
  std::mutex wakeMutex;
  std::condition_variable wake;
  unsigned tickMicroseconds;
  boost::shared_ptr<boost::thread> thread;
  std::vector<Timer*> timers;  // in order of registration; not owned
};

}  // namespace common

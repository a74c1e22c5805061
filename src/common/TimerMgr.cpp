#include "common/TimerMgr.h"

#include <algorithm>
#include <boost/bind/bind.hpp>

#include "common/Exceptions.h"
#include "common/Timer.h"
#include "common/WakeBatch.h"

namespace common {

TimerMgr::TimerMgr(boost::recursive_mutex& borrowed, unsigned /*tickMilliseconds*/, Clock& timeSource)
    : mutex(borrowed),
      clock(timeSource),
      alarm(timeSource.NewAlarm()),
      started(false),
      stopRequested(false),
      nextDeadline(kNever),
      firing(false),
      wakesAsked(0),
      wakesServed(0) {}

TimerMgr::~TimerMgr() {
  if (started) {
    Stop();
  }
}

void TimerMgr::Start() {
  if (started) {
    throw InvalidOperationException("timer manager was started");
  }
  stopRequested = false;
  thread.reset(new boost::thread(boost::bind(&TimerMgr::Run, this)));
  clock.AddSleeper(this);
  started = true;
}

void TimerMgr::Stop() {
  if (!started) {
    throw InvalidOperationException("timer manager was stopped");
  }
  clock.RemoveSleeper(this);
  // The thread tests the flag after it set the alarm for its wait, so either
  // it sees the flag or this wake comes after that setting and ends the wait.
  stopRequested = true;
  alarm->Wake();
  thread->join();
  thread.reset();
  started = false;
}

void TimerMgr::Register(Timer* timer) {
  boost::recursive_mutex::scoped_lock lock(mutex);
  timers.push_back(timer);
}

void TimerMgr::Unregister(Timer* timer) {
  boost::recursive_mutex::scoped_lock lock(mutex);
  timers.erase(std::remove(timers.begin(), timers.end(), timer), timers.end());
}

void TimerMgr::Scheduled(uint64_t deadline) {
  // A round in progress sets the alarm when it ends.
  if (firing || deadline >= nextDeadline) {
    return;
  }
  nextDeadline = deadline;
  alarm->Set(deadline);
}

void TimerMgr::OnClockMoved() {
  std::unique_lock<std::mutex> lock(wakeMutex);
  const uint64_t asked = ++wakesAsked;
  alarm->Wake();
  if (boost::this_thread::get_id() != threadId) {
    served.wait(lock, [&] { return wakesServed >= asked || stopRequested; });
  }
}

void TimerMgr::FireDue() {
  boost::recursive_mutex::scoped_lock lock(mutex);
  firing = true;
  // By index, so that even a misbehaving callback that registers a timer
  // can't invalidate the walk. Each test reads the clock afresh: earlier
  // callbacks take time.
  for (size_t i = 0; i < timers.size(); ++i) {
    timers[i]->FireIfDue(clock.MonotonicMs());
  }
  // Callbacks may have started timers, so the next deadline comes after the
  // walk.
  uint64_t next = kNever;
  for (const Timer* timer : timers) {
    if (timer->active) {
      next = std::min(next, timer->deadline);
    }
  }
  firing = false;
  nextDeadline = next;
  alarm->Set(next);
}

void TimerMgr::Run() {
  {
    std::lock_guard<std::mutex> lock(wakeMutex);
    threadId = boost::this_thread::get_id();
  }
  for (;;) {
    uint64_t asked = 0;
    {
      std::lock_guard<std::mutex> lock(wakeMutex);
      asked = wakesAsked;
    }
    {
      // Workers that callbacks wake need the borrowed mutex too.
      const WakeBatch batch;
      FireDue();
    }
    {
      std::lock_guard<std::mutex> lock(wakeMutex);
      wakesServed = asked;
    }
    served.notify_all();
    if (stopRequested) {
      break;
    }
    alarm->Wait();
  }
  std::lock_guard<std::mutex> lock(wakeMutex);
  wakesServed = wakesAsked;
  served.notify_all();
}

}  // namespace common

#include "common/TimerMgr.h"

#include <algorithm>
#include <boost/bind/bind.hpp>

#include "common/Exceptions.h"
#include "common/Timer.h"

namespace common {

TimerMgr::TimerMgr(boost::recursive_mutex& borrowed, unsigned /*tickMilliseconds*/, Clock& timeSource)
    : mutex(borrowed),
      clock(timeSource),
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
  {
    // Under the wake mutex, so that the thread can't miss it between its
    // test of the flag and its wait.
    std::lock_guard<std::mutex> lock(wakeMutex);
    stopRequested = true;
  }
  wake.notify_all();
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
  // A round in progress computes the next deadline when it ends.
  if (firing || deadline >= nextDeadline) {
    return;
  }
  nextDeadline = deadline;
  Wake();
}

void TimerMgr::Wake() {
  {
    std::lock_guard<std::mutex> lock(wakeMutex);
    ++wakesAsked;
  }
  wake.notify_all();
}

void TimerMgr::OnClockMoved() {
  std::unique_lock<std::mutex> lock(wakeMutex);
  const uint64_t asked = ++wakesAsked;
  wake.notify_all();
  if (boost::this_thread::get_id() != threadId) {
    served.wait(lock, [&] { return wakesServed >= asked || stopRequested; });
  }
}

uint64_t TimerMgr::FireDue() {
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
  return next;
}

void TimerMgr::Run() {
  std::unique_lock<std::mutex> lock(wakeMutex);
  threadId = boost::this_thread::get_id();
  while (!stopRequested) {
    const uint64_t asked = wakesAsked;
    lock.unlock();
    const uint64_t next = FireDue();
    lock.lock();
    wakesServed = asked;
    served.notify_all();
    if (wakesAsked != asked || stopRequested) {
      continue;  // woken while firing: look again at once
    }
    if (next == kNever) {
      wake.wait(lock);
    } else {
      clock.WaitUntil(wake, lock, next);
    }
  }
  wakesServed = wakesAsked;
  served.notify_all();
}

}  // namespace common

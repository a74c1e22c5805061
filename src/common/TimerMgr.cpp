#include "common/TimerMgr.h"

#include <algorithm>
#include <boost/bind/bind.hpp>
#include <chrono>

#include "common/Exceptions.h"
#include "common/Time.h"
#include "common/Timer.h"

namespace common {

TimerMgr::TimerMgr(boost::recursive_mutex& borrowed, unsigned tickMilliseconds)
    : mutex(borrowed), started(false), stopRequested(false), tickMicroseconds(tickMilliseconds * 1000u) {}

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
  thread.reset(new boost::thread(boost::bind(&TimerMgr::Poll, this)));
  started = true;
}

void TimerMgr::Stop() {
  if (!started) {
    throw InvalidOperationException("timer manager was stopped");
  }
  {
    // Under the wake mutex, so that the poll can't miss the notification
    // between its test of the flag and its wait.
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

void TimerMgr::Poll() {
  while (!stopRequested) {
    {
      boost::recursive_mutex::scoped_lock lock(mutex);
      // By index, so that even a misbehaving callback that registers a timer
      // can't invalidate the walk. Each test reads the clock afresh: earlier
      // callbacks take time.
      for (size_t i = 0; i < timers.size(); ++i) {
        timers[i]->FireIfDue(GetTimeMs());
      }
    }
    // The tick's pause, cut short by Stop: a stopping service doesn't wait
    // out the tick.
    std::unique_lock<std::mutex> lock(wakeMutex);
    wake.wait_for(lock, std::chrono::microseconds(tickMicroseconds), [this] { return stopRequested.load(); });
  }
}

}  // namespace common

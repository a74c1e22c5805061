#include "common/TimerMgr.h"

#include <unistd.h>

#include <algorithm>
#include <boost/bind/bind.hpp>

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
  stopRequested = true;
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
    usleep(tickMicroseconds);
  }
}

}  // namespace common

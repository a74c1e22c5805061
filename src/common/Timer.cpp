#include "common/Timer.h"

#include <boost/thread/recursive_mutex.hpp>

#include "common/TimerMgr.h"

namespace common {

Timer::Timer(const Callback& cb, TimerMgr& owner, const uint64_t& intervalMilliseconds)
    : callback(cb), manager(&owner), active(false), interval(intervalMilliseconds), deadline(0) {
  manager->Register(this);
}

Timer::~Timer() {
  manager->Unregister(this);
  callback.clear();
}

void Timer::Start() {
  boost::recursive_mutex::scoped_lock lock(manager->GetMutex());
  active = true;
  deadline = manager->GetTimeSource().MonotonicMs() + interval;
  manager->Scheduled(deadline);
}

void Timer::Stop() {
  boost::recursive_mutex::scoped_lock lock(manager->GetMutex());
  active = false;
}

void Timer::SetInterval(const uint64_t& intervalMilliseconds) {
  boost::recursive_mutex::scoped_lock lock(manager->GetMutex());
  interval = intervalMilliseconds;
}

bool Timer::IsActive() const {
  boost::recursive_mutex::scoped_lock lock(manager->GetMutex());
  return active;
}

void Timer::FireIfDue(uint64_t now) {
  if (!active || now < deadline) {
    return;
  }
  active = false;
  try {
    callback(*this);
  } catch (...) {
    // A failing callback (an empty one included) neither ends the thread nor
    // stops the walk.
  }
}

}  // namespace common

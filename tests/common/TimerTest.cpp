#include "common/Timer.h"

#include <gtest/gtest.h>

#include <boost/thread/recursive_mutex.hpp>
#include <stdexcept>
#include <vector>

#include "common/Exceptions.h"
#include "common/TimerMgr.h"
#include "support/ManualClock.h"
#include "support/Wait.h"

namespace {

using namespace std::chrono_literals;
using common::Timer;
using common::TimerMgr;

// On a clock moved by hand: Advance returns once the manager has fired what
// is due, so every expectation is exact and nothing waits in real time.
class TimerTest : public ::testing::Test {
 protected:
  TimerTest() : manager(mutex, 200, clock) { manager.Start(); }

  // A timer that records the monotonic time of each firing.
  Timer::Callback Record(std::vector<uint64_t>& times) {
    return [this, &times](Timer&) { times.push_back(clock.MonotonicMs()); };
  }

  testsupport::ManualClock clock;
  boost::recursive_mutex mutex;
  TimerMgr manager;
};

TEST_F(TimerTest, FiresAtItsDeadlineNeverEarlyWhateverTheWallClockDoes) {
  struct Case {
    uint64_t interval;
    int64_t wallStep;  // between the start and the deadline
  };
  for (const Case& c : {Case{0, 0}, Case{1, 0}, Case{500, 0}, Case{500, 3600000}, Case{500, -3600000},
                        Case{1100, 3600000}, Case{1100, -3600000}}) {
    SCOPED_TRACE(testing::Message() << "interval " << c.interval << ", wall step " << c.wallStep);
    std::vector<uint64_t> times;
    Timer timer(Record(times), manager, c.interval);
    const uint64_t started = clock.MonotonicMs();
    timer.Start();
    clock.StepWall(c.wallStep);
    // Due at once, a timer of interval 0 may fire before any Advance; the
    // others must not fire a millisecond early.
    if (c.interval > 0) {
      clock.Advance(c.interval - 1);
      EXPECT_TRUE(times.empty());
      clock.Advance(1);
    } else {
      clock.Advance(0);  // due at once: a round without moving the clock
    }
    ASSERT_EQ(1u, times.size());
    EXPECT_EQ(started + c.interval, times[0]);
    EXPECT_FALSE(timer.IsActive());
  }
}

TEST_F(TimerTest, StopRestartSetIntervalPeriodicAndThrowingCallbacks) {
  std::vector<uint64_t> stoppedTimes, restartedTimes, changedTimes, periodicTimes;
  int throwingCalls = 0;
  const uint64_t t0 = clock.MonotonicMs();
  Timer stopped(Record(stoppedTimes), manager, 100);
  Timer restarted(Record(restartedTimes), manager, 300);
  Timer changed(Record(changedTimes), manager, 150);
  // Restarting itself makes a timer periodic, counted from the moment it ran.
  Timer periodic(
      [&](Timer& self) {
        periodicTimes.push_back(clock.MonotonicMs() - t0);
        self.Start();
      },
      manager, 100);
  Timer throwing(
      [&](Timer&) {
        ++throwingCalls;
        throw std::runtime_error("boom");
      },
      manager, 10);
  Timer empty(Timer::Callback(), manager, 10);
  for (Timer* timer : {&stopped, &restarted, &changed, &periodic, &throwing, &empty}) {
    timer->Start();
  }
  stopped.Stop();
  stopped.Stop();              // harmless
  changed.SetInterval(60000);  // leaves the running deadline; the next Start uses it
  clock.Advance(10);
  EXPECT_EQ(1, throwingCalls);  // neither it nor the empty one disturbs the others
  EXPECT_FALSE(empty.IsActive());
  clock.Advance(190);
  restarted.Start();  // counts from the restart
  clock.Advance(299);
  EXPECT_TRUE(restartedTimes.empty());
  clock.Advance(1);
  EXPECT_EQ(1u, restartedTimes.size());
  ASSERT_EQ(1u, changedTimes.size());
  changed.Start();
  clock.Advance(59999);
  EXPECT_EQ(1u, changedTimes.size());
  clock.Advance(1);
  EXPECT_EQ(2u, changedTimes.size());
  EXPECT_TRUE(stoppedTimes.empty());
  // Each move over one or more periods fires it once, where the move ends.
  EXPECT_EQ((std::vector<uint64_t>{200, 499, 60499}), periodicTimes);
}

// On the system clock: a thread that sleeps towards a far deadline is woken
// for a timer started with an earlier one, and by Stop.
TEST(TimerMgrTest, SleepingThreadWakesForAnEarlierTimerAndForStop) {
  boost::recursive_mutex mutex;
  TimerMgr manager(mutex, 200, common::GetClock());
  EXPECT_THROW(manager.Stop(), InvalidOperationException);
  manager.Start();
  EXPECT_THROW(manager.Start(), InvalidOperationException);

  Timer far([](Timer&) {}, manager, 600000);
  far.Start();
  uint64_t firedAt = 0;
  Timer near([&](Timer&) { firedAt = common::GetMonotonicMs(); }, manager, 20);
  // Give the thread time to go to sleep towards the far deadline.
  ASSERT_FALSE(testsupport::WaitUntil([&] { return !far.IsActive(); }, 50ms));
  const uint64_t started = common::GetMonotonicMs();
  near.Start();
  ASSERT_TRUE(testsupport::WaitUntil([&] { return !near.IsActive(); }, 10s));
  {
    boost::recursive_mutex::scoped_lock lock(mutex);
    EXPECT_GE(firedAt, started + 20);
  }
  manager.Stop();  // doesn't wait out the far deadline
  EXPECT_TRUE(far.IsActive());
  manager.Start();  // a manager may be started again; the destructor stops it
}

}  // namespace

#include "common/Timer.h"

#include <gtest/gtest.h>

#include <boost/bind/bind.hpp>
#include <boost/thread/recursive_mutex.hpp>
#include <stdexcept>
#include <vector>

#include "common/Exceptions.h"
#include "common/Time.h"
#include "common/TimerMgr.h"
#include "support/Wait.h"

namespace {

using namespace std::chrono_literals;
using common::Timer;
using common::TimerMgr;

// The tests observe the manager's polls through a probe: a timer with
// interval 0, registered first, that restarts itself in every poll and records
// the poll's time. That makes "fired in the first poll after the deadline"
// checkable without any timing assumption about a loaded machine.
class TimerTest : public ::testing::Test {
 protected:
  TimerTest()
      : manager(mutex, 50),
        probe(boost::bind(&TimerTest::OnProbe, this, boost::placeholders::_1), manager, 0) {}

  void SetUp() override {
    probe.Start();
    manager.Start();
  }
  void TearDown() override { manager.Stop(); }

  void OnProbe(Timer& timer) {
    pollTimes.push_back(common::GetTimeMs());
    timer.Start();
  }

  size_t Polls() {
    boost::recursive_mutex::scoped_lock lock(mutex);
    return pollTimes.size();
  }

  // Waits until n more polls happened.
  bool WaitPolls(size_t n) {
    const size_t target = Polls() + n;
    return testsupport::WaitUntil([&] { return Polls() >= target; }, 10s);
  }

  boost::recursive_mutex mutex;
  TimerMgr manager;
  Timer probe;
  std::vector<uint64_t> pollTimes;  // guarded by mutex
};

struct Firing {
  uint64_t time = 0;
  size_t pollIndex = 0;  // index of the probe entry of the firing poll
  int count = 0;
};

TEST_F(TimerTest, FiresInTheFirstPollAfterItsDeadlineNeverEarly) {
  Firing firing;
  Timer timer(
      [&](Timer&) {
        firing.time = common::GetTimeMs();
        firing.pollIndex = pollTimes.size() - 1;
        ++firing.count;
      },
      manager, 180);
  const uint64_t before = common::GetTimeMs();
  timer.Start();
  const uint64_t after = common::GetTimeMs();
  ASSERT_TRUE(testsupport::WaitUntil([&] { return Polls() > 0 && timer.IsActive() == false; }, 10s));

  boost::recursive_mutex::scoped_lock lock(mutex);
  ASSERT_EQ(1, firing.count);
  EXPECT_GE(firing.time, before + 180);
  // The poll before the firing one still came before the deadline: the timer
  // was at most one tick (plus the walk) late.
  ASSERT_GE(firing.pollIndex, 1u);
  EXPECT_LT(pollTimes[firing.pollIndex - 1], after + 180);
}

TEST_F(TimerTest, ZeroIntervalStartStopAndRestart) {
  int zeroFired = 0;
  Timer zero([&](Timer&) { ++zeroFired; }, manager, 0);
  zero.Start();
  ASSERT_TRUE(WaitPolls(2));
  {
    boost::recursive_mutex::scoped_lock lock(mutex);
    EXPECT_EQ(1, zeroFired);
  }

  // Started and stopped between two polls (the held lock keeps the poll out):
  // it never fires.
  int stoppedFired = 0;
  Timer stopped([&](Timer&) { ++stoppedFired; }, manager, 0);
  {
    boost::recursive_mutex::scoped_lock lock(mutex);
    stopped.Start();
    stopped.Stop();
  }
  ASSERT_TRUE(WaitPolls(3));
  {
    boost::recursive_mutex::scoped_lock lock(mutex);
    EXPECT_EQ(0, stoppedFired);
  }
  stopped.Stop();  // stopping a stopped timer is harmless

  // A restart before the deadline counts from the restart.
  uint64_t restartedAt = 0;
  uint64_t firedAt = 0;
  Timer restarted([&](Timer&) { firedAt = common::GetTimeMs(); }, manager, 300);
  restarted.Start();
  ASSERT_TRUE(WaitPolls(1));
  restartedAt = common::GetTimeMs();
  restarted.Start();
  ASSERT_TRUE(testsupport::WaitUntil([&] { return !restarted.IsActive(); }, 10s));
  boost::recursive_mutex::scoped_lock lock(mutex);
  EXPECT_GE(firedAt, restartedAt + 300);
}

TEST_F(TimerTest, CallbackMayRestartItsOwnTimer) {
  std::vector<uint64_t> times;
  Timer periodic(
      [&](Timer& self) {
        times.push_back(common::GetTimeMs());
        if (times.size() < 3) {
          self.Start();
        }
      },
      manager, 100);
  periodic.Start();
  ASSERT_TRUE(testsupport::WaitUntil(
      [&] {
        boost::recursive_mutex::scoped_lock lock(mutex);
        return times.size() == 3;
      },
      10s));
  boost::recursive_mutex::scoped_lock lock(mutex);
  EXPECT_GE(times[1] - times[0], 100u);
  EXPECT_GE(times[2] - times[1], 100u);
}

TEST_F(TimerTest, ThrowingOrEmptyCallbacksDontDisturbTheWalk) {
  int throwingCalls = 0;
  int laterCalls = 0;
  Timer throwing(
      [&](Timer&) {
        ++throwingCalls;
        throw std::runtime_error("boom");
      },
      manager, 0);
  Timer empty(Timer::Callback(), manager, 0);
  Timer later([&](Timer&) { ++laterCalls; }, manager, 0);
  {
    boost::recursive_mutex::scoped_lock lock(mutex);
    throwing.Start();
    empty.Start();
    later.Start();
  }
  ASSERT_TRUE(WaitPolls(2));
  boost::recursive_mutex::scoped_lock lock(mutex);
  EXPECT_EQ(1, throwingCalls);
  EXPECT_EQ(1, laterCalls);
}

TEST_F(TimerTest, SetIntervalAppliesFromTheNextStart) {
  uint64_t firedAt = 0;
  Timer timer([&](Timer&) { firedAt = common::GetTimeMs(); }, manager, 150);
  const uint64_t started = common::GetTimeMs();
  timer.Start();
  timer.SetInterval(60000);
  // Still fires on the old deadline; a wait of 10 s is far below 60 s.
  ASSERT_TRUE(testsupport::WaitUntil([&] { return !timer.IsActive(); }, 10s));
  boost::recursive_mutex::scoped_lock lock(mutex);
  EXPECT_GE(firedAt, started + 150);
  timer.Start();
  EXPECT_TRUE(timer.IsActive());
}

TEST(TimerMgrTest, StartAndStopMisuse) {
  boost::recursive_mutex mutex;
  TimerMgr manager(mutex, 200);
  EXPECT_THROW(manager.Stop(), InvalidOperationException);
  manager.Start();
  EXPECT_THROW(manager.Start(), InvalidOperationException);
  manager.Stop();
  // A manager may be started again; the destructor stops it.
  manager.Start();
}

}  // namespace

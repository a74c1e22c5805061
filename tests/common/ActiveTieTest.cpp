#include "common/ActiveTie.h"

#include <gtest/gtest.h>

#include <atomic>
#include <boost/thread/mutex.hpp>
#include <stdexcept>
#include <vector>

#include "common/Exceptions.h"
#include "support/Thrown.h"
#include "support/Wait.h"

namespace {

using namespace std::chrono_literals;

struct Recorder {
  boost::mutex mutex;
  std::vector<int> seen;
  boost::thread::id worker;
  void Add(int value) {
    boost::mutex::scoped_lock lock(mutex);
    seen.push_back(value);
    worker = boost::this_thread::get_id();
  }
  std::vector<int> Seen() {
    boost::mutex::scoped_lock lock(mutex);
    return seen;
  }
};

// Negative values throw after being recorded.
struct Event {
  static std::atomic<int> alive;
  explicit Event(int value) : value(value) { ++alive; }
  virtual ~Event() { --alive; }
  virtual void Execute(Recorder* recorder) {
    recorder->Add(value);
    if (value < 0) {
      throw std::runtime_error("handler failed");
    }
  }
  int value;
};
std::atomic<int> Event::alive{0};

using Tie = common::ActiveTie<Recorder, Event>;

class Proxy : public common::ActiveProxy<Tie, Event> {
 public:
  explicit Proxy(Tie& tie) : ActiveProxy(tie) {}
  void Value(int value) { Post(new Event(value)); }
};

TEST(ActiveTieTest, EventsRunInOrderOnTheWorkerAndStopDrains) {
  Recorder recorder;
  {
    Tie tie(&recorder);
    EXPECT_EQ("thread was stopped", testsupport::Thrown<InvalidOperationException>([&] { tie.Stop(); }));
    Proxy proxy(tie);
    for (int i = 0; i < 10; ++i) {
      proxy.Value(i == 3 ? -3 : i);  // a failing handler doesn't end the worker
    }
    EXPECT_TRUE(recorder.Seen().empty());
    tie.Start();
    EXPECT_EQ("thread was started", testsupport::Thrown<InvalidOperationException>([&] { tie.Start(); }));
    tie.Stop();  // the end-of-work mark goes behind the ten events
    EXPECT_EQ((std::vector<int>{0, 1, 2, -3, 4, 5, 6, 7, 8, 9}), recorder.Seen());
    EXPECT_NE(boost::this_thread::get_id(), recorder.worker);
    EXPECT_EQ(0, Event::alive);

    // A tie may start again; events posted while stopped wait for it.
    proxy.Value(10);
    tie.Start();
    ASSERT_TRUE(testsupport::WaitUntil([&] { return recorder.Seen().size() == 11; }, 10s));
  }  // the destructor stops a started tie
  EXPECT_EQ(0, Event::alive);

  {
    Tie unstarted(&recorder);
    unstarted.Post(new Event(1));
    EXPECT_EQ(1, Event::alive);
  }
  EXPECT_EQ(0, Event::alive);  // undelivered events die with the tie
  EXPECT_EQ(11u, recorder.Seen().size());
}

}  // namespace

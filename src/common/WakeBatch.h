#pragma once

#include <boost/thread/condition.hpp>

namespace common {

// Holds back the wake-ups of worker threads that a thread makes while it
// holds a lock the woken worker needs next, until it has let the lock go.
//
// The receive thread of the unit link queues an event for the event thread
// while it holds the stack's mutex; woken at once, the event thread would run
// straight into that mutex (it answers the unit through the stack) and sleep
// again until the receive thread is done: two more context switches per
// message. Opened around the locked section, a batch makes the wake-up when
// the section is over. Batches nest; the outermost one wakes. Per thread.
class WakeBatch {
 public:
  WakeBatch();
  // Wakes whoever was held back, in order.
  ~WakeBatch();
  WakeBatch(const WakeBatch&) = delete;
  WakeBatch& operator=(const WakeBatch&) = delete;

  // condition.notify_all() now, or at the end of this thread's open batch.
  static void NotifyAll(boost::condition& condition);
};

}  // namespace common

#pragma once

#include <boost/noncopyable.hpp>
#include <boost/shared_ptr.hpp>
#include <boost/thread/condition.hpp>
#include <boost/thread/mutex.hpp>
#include <boost/thread/thread.hpp>

#include <deque>

#include "common/Exceptions.h"
#include "common/WakeBatch.h"

namespace common {

// The queue and worker thread of an active object: events posted from any
// thread are executed one at a time, in order, on the worker, so a slow
// handler never blocks the caller. Event needs a virtual destructor and
// `void Execute(Handler*)`. Posted events belong to the tie.
//
// Post works in any state: events posted before Start() wait and run after it.
// Stop() queues an end-of-work mark behind everything posted so far, so those
// events still run, in order, before it returns; whatever is posted after the
// mark is deleted undelivered.
template <class Handler, class Event>
class ActiveTie : private boost::noncopyable {
 public:
  explicit ActiveTie(Handler* handler) : handler(handler), started(false) {}

  ~ActiveTie() {
    if (started) {
      Stop();
    }
    DeleteQueued();
  }

  void Start() {
    if (started) {
      throw InvalidOperationException("thread was started");
    }
    thread.reset(new boost::thread(&ActiveTie::Work, this));
    started = true;
  }

  // Must not be called on the worker thread, which it joins.
  void Stop() {
    if (!started) {
      throw InvalidOperationException("thread was stopped");
    }
    Post(nullptr);
    thread->join();
    thread.reset();
    started = false;
    DeleteQueued();
  }

  // Never blocks longer than the queue lock takes; no size limit. The worker
  // is woken after the queue lock is let go (so that it doesn't wake into a
  // held lock), and after the caller's open WakeBatch, if any.
  void Post(Event* event) {
    {
      boost::mutex::scoped_lock lock(queueMutex);
      queue.push_back(event);
    }
    WakeBatch::NotifyAll(queueChanged);
  }

  // Events posted and not yet taken by the worker; for callers that bound
  // what they post.
  size_t Pending() {
    boost::mutex::scoped_lock lock(queueMutex);
    return queue.size();
  }

 private:
  void Work() {
    for (;;) {
      Event* event = nullptr;
      {
        boost::mutex::scoped_lock lock(queueMutex);
        while (queue.empty()) {
          queueChanged.wait(lock);
        }
        event = queue.front();
        queue.pop_front();
      }
      if (event == nullptr) {
        return;
      }
      try {
        event->Execute(handler);
      } catch (...) {
        // A failing handler doesn't end the worker; the next event runs.
      }
      delete event;
    }
  }

  void DeleteQueued() {
    boost::mutex::scoped_lock lock(queueMutex);
    for (Event* event : queue) {
      delete event;
    }
    queue.clear();
  }

  std::deque<Event*> queue;  // a null pointer is the end-of-work mark
  boost::mutex queueMutex;
  boost::shared_ptr<boost::thread> thread;
  boost::condition queueChanged;
  Handler* handler;
  bool started;
};

// Base of the proxies that turn calls into events for a tie. A derived class
// implements the handler's interface: each operation allocates one event that
// captures its arguments by value and posts it.
template <class Tie, class Event>
class ActiveProxy {
 public:
  explicit ActiveProxy(Tie& tie) : tie(&tie) {}
  virtual ~ActiveProxy() = default;

 protected:
  void Post(Event* event) { tie->Post(event); }

 private:
  Tie* tie;  // not owned
};

}  // namespace common

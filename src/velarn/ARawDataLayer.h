#pragma once

#include <boost/thread/recursive_mutex.hpp>

#include "velarn/IRawDataSender.h"

namespace velarn {

class IRawDataReceiver;

// The carrier of the stack: moves opaque datagrams to and from the unit. An
// implementation owns the receiving thread and hands every datagram up through
// NotifyRawData, which runs the whole upward path under the stack's mutex.
class ARawDataLayer : public IRawDataSender {
 public:
  explicit ARawDataLayer(boost::recursive_mutex& mutex) : mutex(mutex), receiver(nullptr) {}
  ~ARawDataLayer() override = default;
  ARawDataLayer(const ARawDataLayer&) = delete;
  ARawDataLayer& operator=(const ARawDataLayer&) = delete;

  virtual void Start() = 0;
  // Must not be called with the stack's mutex held: the receiving thread may
  // be waiting for it.
  virtual void Stop() = 0;

  // Wiring, before Start(); null drops incoming data.
  void SetRawDataReceiver(IRawDataReceiver* dataReceiver) { receiver = dataReceiver; }

 protected:
  // Locks the stack's mutex (only when a receiver is wired) and calls it. No
  // exception of the layers above comes back out of here.
  void NotifyRawData(const common::Buffer& data);
  // The stack's mutex, for what must not overlap the sends of the layers
  // above; they call in under it only when a receiver is wired.
  boost::recursive_mutex& StackMutex() { return mutex; }
  bool HasReceiver() const { return receiver != nullptr; }

 private:
  boost::recursive_mutex& mutex;  // owned by the driver
  IRawDataReceiver* receiver;     // not owned
};

}  // namespace velarn

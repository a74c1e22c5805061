#pragma once

#include <atomic>

#include <boost/thread/recursive_mutex.hpp>

#include "bkcom/EventHandlerInterface.h"
#include "bkcom/IMessageSender.h"

namespace bkcom {

// The base of the daemon's handler of the navigation link: the hooks of
// EventHandlerInterface plus the way back to the application.
class ABKComEventHandler : public EventHandlerInterface {
 public:
  // Set by the event loop when it starts; atomic because other threads may
  // already send while it is set.
  void SetSender(IMessageSender* sender);
  // Hands message to the sender, if there is one yet. Whatever the sender
  // throws is dropped: a message to the navigation application may be lost,
  // the handler's work goes on.
  void SendEvent(CVelarnMessage& message);
  // Asks the sender to let go of the attached application (see
  // IMessageSender::DropClient); nothing without a sender.
  void DropClient();

  // The handler's own lock, if it has one. The event loop takes it before its
  // own lock around OnClientConnected and OnClientDisconnected, so that every
  // thread takes the handler's lock first (see EventLoop.h). Null: none.
  void SetHookMutex(boost::recursive_mutex* mutex) { hookMutex = mutex; }
  boost::recursive_mutex* GetHookMutex() const { return hookMutex; }

 private:
  std::atomic<IMessageSender*> sender{nullptr};
  boost::recursive_mutex* hookMutex = nullptr;
};

}  // namespace bkcom

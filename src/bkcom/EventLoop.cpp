#include "bkcom/EventLoop.h"

#include <chrono>

#include <boost/thread/locks.hpp>

#include "bkcom/ABKComEventHandler.h"
#include "bkcom/BrenikCommunication.h"
#include "bkcom/VelarnMessage.h"

namespace bkcom {

namespace {

// The handler's lock (if it has one), then the loop's: see EventLoop.h.
class HookLock {
 public:
  HookLock(ABKComEventHandler& handler, boost::recursive_mutex& loopMutex)
      : hookMutex(handler.GetHookMutex()) {
    if (hookMutex != nullptr) {
      hookMutex->lock();
    }
    loop = boost::unique_lock<boost::recursive_mutex>(loopMutex);
  }
  ~HookLock() {
    loop.unlock();
    if (hookMutex != nullptr) {
      hookMutex->unlock();
    }
  }
  HookLock(const HookLock&) = delete;
  HookLock& operator=(const HookLock&) = delete;

 private:
  boost::recursive_mutex* hookMutex;
  boost::unique_lock<boost::recursive_mutex> loop;
};

// Leaves no pointer to objects of Run behind, also when a hook throws: the
// client goes (without hooks), and the handler forgets this loop.
class RunGuard {
 public:
  RunGuard(ABKComEventHandler& handler, boost::recursive_mutex& mutex, CBrenikCommunicationClient*& client)
      : handler(handler), mutex(mutex), client(client) {}
  ~RunGuard() {
    {
      boost::recursive_mutex::scoped_lock lock(mutex);
      client = nullptr;
    }
    handler.SetSender(nullptr);
  }
  RunGuard(const RunGuard&) = delete;
  RunGuard& operator=(const RunGuard&) = delete;

 private:
  ABKComEventHandler& handler;
  boost::recursive_mutex& mutex;
  CBrenikCommunicationClient*& client;
};

}  // namespace

int EventLoop::DefaultLibraryTimeout() {
  return CBrenikCommunicationServer::CanWake() ? kWakeableLibraryTimeout : kLibraryTimeout;
}

EventLoop::EventLoop(int libraryTimeout) : libraryTimeout(libraryTimeout) {}

void EventLoop::Run(ABKComEventHandler& handler, const std::string& address) {
  {
    boost::recursive_mutex::scoped_lock lock(mutex);
    client = nullptr;
  }
  connectionLost = false;

  CBrenikCommunicationClient connection(handler.GetMessageFactory());
  connection.SetEventHandler(&handler);
  RunGuard guard(handler, mutex, client);
  handler.SetSender(this);
  handler.OnStart();

  while (!stop) {
    bool accepted = false;
    {
      CBrenikCommunicationServer server;
      if (!server.Create(libraryTimeout)) {
        stop = true;  // for want of resources: the service ends
        serverFailed = true;
      }
      WaitIn(&server, nullptr);
      while (!stop) {
        if (server.Listen(address.c_str())) {
          break;
        }
        Pause();
      }
      while (!stop && !accepted) {
        accepted = server.Accept(connection);
        if (!accepted) {
          Pause();
        }
      }
      WaitIn(nullptr, nullptr);
      server.Destroy();
    }
    if (accepted) {
      Serve(handler, connection);
    }
  }
  handler.OnStop();
}

void EventLoop::Serve(ABKComEventHandler& handler, CBrenikCommunicationClient& connected) {
  {
    HookLock lock(handler, mutex);
    client = &connected;
    connectionLost = false;
    handler.OnClientConnected();
  }
  WaitIn(nullptr, &connected);
  while (!connectionLost && !stop) {
    if (connected.Receive()) {
      connected.HandleReceived();  // an unknown or undecodable message is dropped, the connection stays
    } else if (connected.GetReceiveError() != BKMP_E_TIMEOUT) {
      connectionLost = true;
    }
  }
  WaitIn(nullptr, nullptr);
  {
    HookLock lock(handler, mutex);
    client = nullptr;
    handler.OnClientDisconnected();
  }
  connected.Close();
}

void EventLoop::Stop() {
  // Under waitMutex: the main thread either named its wait before, and is
  // woken here, or names it after and then sees the flag.
  std::lock_guard<std::mutex> lock(waitMutex);
  stop = true;
  if (waitingServer != nullptr) {
    waitingServer->Wake();
  }
  if (waitingConnection != nullptr) {
    waitingConnection->Wake();
  }
  stopped.notify_all();
}

void EventLoop::WaitIn(CBrenikCommunicationServer* server, CBrenikCommunicationClient* connection) {
  std::lock_guard<std::mutex> lock(waitMutex);
  waitingServer = server;
  waitingConnection = connection;
}

void EventLoop::Send(CVelarnMessage& message) {
  boost::recursive_mutex::scoped_lock lock(mutex);
  if (client == nullptr || connectionLost) {
    return;
  }
  if (!message.Send(*client)) {
    connectionLost = true;
  }
}

void EventLoop::Pause() {
  std::unique_lock<std::mutex> lock(waitMutex);
  stopped.wait_for(lock, std::chrono::microseconds(kPauseMicroseconds), [this] { return stop.load(); });
}

}  // namespace bkcom

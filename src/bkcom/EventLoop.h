#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>

#include <boost/thread/recursive_mutex.hpp>

#include "bkcom/IMessageSender.h"

class CBrenikCommunicationClient;
class CBrenikCommunicationServer;

namespace bkcom {

class ABKComEventHandler;

// The daemon's main loop towards the navigation application. It listens on
// the library's address, serves exactly one application at a time, hands
// what comes in to its handler and lets any thread send. The main thread
// stays in Run for the life of the service; Stop() is the only way out.
//
// Hooks, over one Run: GetMessageFactory, OnStart, then per attached
// application OnClientConnected, any number of HandleMessage and
// OnClientDisconnected, and last OnStop. While an application is attached no
// server exists, so a second one finds nobody listening. All waiting happens
// in the library and in pauses of 200 ms after a failed listen or accept.
// Stop() wakes all of them: the pause at once, and the library's Accept or
// Receive through its wake call, so the library's time-out can be long (60 s)
// and an idle link doesn't wake the main thread. With a library that can't
// wake (the device's original), the time-out is 1 s, and Stop() is seen
// within one time-out plus one pause.
//
// Locks. `mutex` guards `client` and the connection's lifetime during a
// send; it is recursive because the two hooks below send under it. The
// handler may have a lock of its own (ABKComEventHandler::SetHookMutex), and
// its threads take that lock before they send, i.e. before `mutex`. To keep
// one order everywhere, the loop takes the handler's lock FIRST and `mutex`
// second around OnClientConnected and OnClientDisconnected and the changes
// of `client` with them. So no thread ever holds `mutex` while it waits for
// the handler's lock, and a handler thread that holds its lock and sends
// can't deadlock with the main thread entering a hook. `mutex` is still held
// across OnClientConnected: nothing that another thread sends can overtake
// the first message of the handshake. HandleMessage runs without `mutex` (the
// handler locks itself inside), and so do Receive and decoding: a send on
// another thread runs beside the blocking receive.
//
// `stop` and `connectionLost` are flags without a lock (atomic, so that the
// sanitizers agree); a late read costs one more round of Receive. Stop()
// takes one small lock of its own, `waitMutex`, under which the main thread
// names the server or connection it may wait in; no other lock is ever taken
// under it.
class EventLoop : public IMessageSender {
 public:
  // The library's time-out in microseconds, where it can't wake a waiting
  // call, and where it can.
  static constexpr int kLibraryTimeout = 1000000;
  static constexpr int kWakeableLibraryTimeout = 60000000;
  static constexpr unsigned kPauseMicroseconds = 200000;

  // The time-out that fits the library linked in.
  static int DefaultLibraryTimeout();

  // libraryTimeout is the server's time-out handed to the library; the
  // daemon keeps the default, tests pass a shorter one.
  explicit EventLoop(int libraryTimeout = DefaultLibraryTimeout());
  ~EventLoop() override = default;
  EventLoop(const EventLoop&) = delete;
  EventLoop& operator=(const EventLoop&) = delete;

  // Returns after Stop(), with the handler's sender cleared again (later
  // SendEvent calls do nothing). An exception that a hook lets through ends
  // it.
  void Run(ABKComEventHandler& handler, const std::string& address);
  // From any thread; never cleared again. Wakes the main thread's wait.
  void Stop();
  bool IsStopped() const { return stop; }

  // Sends if an application is attached and its connection hasn't failed;
  // else drops the message without a word. A failed send marks the
  // connection lost: later sends are dropped and the main thread detaches.
  void Send(CVelarnMessage& message) override;
  // Marks the present connection lost, as a failed send does: the main thread
  // detaches it within one library time-out and listens again.
  void DropClient() override { connectionLost = true; }
  // Whether Run ended because no server could be created: the navigation
  // application could never be served.
  bool ServerFailed() const { return serverFailed; }

 private:
  // Runs one attached connection until it is lost or the loop stops.
  void Serve(ABKComEventHandler& handler, CBrenikCommunicationClient& connected);
  // 200 ms, or until Stop().
  void Pause();
  // Names what Stop() has to wake (null: nothing of that kind).
  void WaitIn(CBrenikCommunicationServer* server, CBrenikCommunicationClient* connection);

  const int libraryTimeout;
  std::atomic<bool> stop{false};
  std::atomic<bool> connectionLost{false};
  bool serverFailed = false;
  CBrenikCommunicationClient* client = nullptr;
  boost::recursive_mutex mutex;
  std::mutex waitMutex;
  std::condition_variable stopped;
  CBrenikCommunicationServer* waitingServer = nullptr;      // under waitMutex
  CBrenikCommunicationClient* waitingConnection = nullptr;  // under waitMutex
};

}  // namespace bkcom

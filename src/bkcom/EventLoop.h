#pragma once

#include <atomic>
#include <string>

#include <boost/thread/recursive_mutex.hpp>

#include "bkcom/IMessageSender.h"

class CBrenikCommunicationClient;

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
// in the library (its time-out, 1 s for the daemon) and in pauses of 200 ms
// after a failed listen or accept: Stop() is seen within one time-out plus
// one pause.
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
// sanitizers agree); a late read costs one more round of Receive.
class EventLoop : public IMessageSender {
 public:
  static constexpr int kLibraryTimeout = 1000000;  // microseconds
  static constexpr unsigned kPauseMicroseconds = 200000;

  // libraryTimeout is the server's time-out handed to the library; the
  // daemon keeps the default, tests pass a shorter one.
  explicit EventLoop(int libraryTimeout = kLibraryTimeout);
  ~EventLoop() override = default;
  EventLoop(const EventLoop&) = delete;
  EventLoop& operator=(const EventLoop&) = delete;

  // Returns after Stop(), with the handler's sender cleared again (later
  // SendEvent calls do nothing). An exception that a hook lets through ends
  // it.
  void Run(ABKComEventHandler& handler, const std::string& address);
  // From any thread, without a lock; never cleared again.
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
  void Pause();

  const int libraryTimeout;
  std::atomic<bool> stop{false};
  std::atomic<bool> connectionLost{false};
  bool serverFailed = false;
  CBrenikCommunicationClient* client = nullptr;
  boost::recursive_mutex mutex;
};

}  // namespace bkcom

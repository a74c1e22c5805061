#pragma once

// What the event loop tests share: a handler that writes down its hooks and
// keeps the messages it gets, a loop running on its own thread, and a peer
// that plays the navigation application through the library's client side.

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "bkcom/ABKComEventHandler.h"
#include "bkcom/BrenikCommunication.h"
#include "bkcom/EventLoop.h"
#include "bkcom/VelarnMessage.h"

namespace bkcomtest {

using namespace std::chrono_literals;

// Library time-out of the loops under test (microseconds): short, so that
// Stop() is seen soon.
constexpr int kTestLibraryTimeout = 50000;

class RecordingLoopHandler : public bkcom::ABKComEventHandler {
 public:
  void HandleMessage(CVelarnMessage* message, CBrenikCommunicationClient* client, int* handled) override;
  void OnStart() override { Record("OnStart"); }
  void OnStop() override { Record("OnStop"); }
  void OnClientConnected() override;
  void OnClientDisconnected() override { Record("OnClientDisconnected"); }
  CVelarnMessageRegistry* GetMessageFactory() override;

  // Sent from inside OnClientConnected, if set (the handshake's first word).
  std::function<void(RecordingLoopHandler&)> onConnected;

  std::vector<std::string> Hooks();
  size_t Count(const std::string& hook);
  // Waits until hook was called count times in all.
  bool WaitForHook(const std::string& hook, size_t count, std::chrono::milliseconds timeout = 10s);
  // The messages HandleMessage got, which it kept (handled set to 0).
  std::vector<std::shared_ptr<CVelarnMessage>> Messages();
  bool WaitForMessages(size_t count, std::chrono::milliseconds timeout = 10s);

 protected:
  void Record(const std::string& hook);

 private:
  std::mutex mutex;
  std::condition_variable changed;
  std::vector<std::string> hooks;
  std::vector<std::shared_ptr<CVelarnMessage>> messages;
};

// Runs loop.Run(handler, address) on a thread of its own; Stop() stops and
// joins it (also at destruction).
class LoopThread {
 public:
  LoopThread(bkcom::EventLoop& loop, bkcom::ABKComEventHandler& handler, const std::string& address);
  ~LoopThread() { Stop(); }
  // False if Run didn't end within timeout (the thread is then left behind).
  bool Stop(std::chrono::milliseconds timeout = 10s);
  bool Finished() const { return finished; }

 private:
  bkcom::EventLoop& loop;
  std::thread thread;
  std::atomic<bool> finished{false};
};

// The navigation application's side of a connection.
class TestPeer {
 public:
  TestPeer();
  ~TestPeer() { Close(); }

  // Tries every 20 ms until timeout; the library's code of the last try.
  int Connect(const std::string& address, std::chrono::milliseconds timeout = 10s);
  // One try.
  int ConnectOnce(const std::string& address);

  // The next message, or null if none came within timeout or the connection
  // ended (code then tells which).
  std::unique_ptr<CBrenikCommunicationMessage> Receive(std::chrono::milliseconds timeout = 10s,
                                                       int* code = nullptr);
  // Waits until the daemon closes the connection; false on time-out.
  bool WaitForClose(std::chrono::milliseconds timeout = 10s);

  bool Send(CVelarnMessage& message) { return message.Send(client); }
  bool Send(CBrenikCommunicationMessage& message) { return message.Send(client); }
  void Close() { client.Close(); }

  CBrenikCommunicationClient client{nullptr};
};

// The "MessageID" of a received message, -1 without one.
int MessageIdOf(CBrenikCommunicationMessage& message);

}  // namespace bkcomtest

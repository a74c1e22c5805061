#pragma once

// A small stand-in of velarnd's navigation side for the tests of
// velarnctl nav: the real event loop on a thread, which greets every
// application with CVelarnInitBrenikAction, acknowledges every action and
// writes down what it got as "CClass Field=value ..." with the wire's field
// names (independent of the tool's own formatting).

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "bkcom/ABKComEventHandler.h"
#include "bkcom/EventLoop.h"

namespace navtest {

class FakeDaemon : public bkcom::ABKComEventHandler {
 public:
  explicit FakeDaemon(const std::string& address);
  ~FakeDaemon() override;

  // Starts serving (a test may start late, to see the tool wait for it).
  void Start();
  // Stops the loop: the attached tool sees the daemon go away.
  void Stop();

  // Lines of the received messages so far.
  std::vector<std::string> Received();
  bool WaitForReceived(size_t count, std::chrono::milliseconds timeout = std::chrono::seconds(10));

  // Sends to the attached tool.
  void Send(CVelarnMessage& message) { SendEvent(message); }

  void HandleMessage(CVelarnMessage* message, CBrenikCommunicationClient* client, int* handled) override;
  void OnStart() override {}
  void OnStop() override {}
  void OnClientConnected() override;  // greets the tool
  void OnClientDisconnected() override {}
  CVelarnMessageRegistry* GetMessageFactory() override;

 private:
  std::string address;
  bkcom::EventLoop loop{50000};
  std::thread thread;
  std::mutex mutex;
  std::condition_variable changed;
  std::vector<std::string> received;
};

// "CClass Field=value ..." of a message, values as numbers, texts bare.
std::string Describe(CVelarnMessage& message);

}  // namespace navtest

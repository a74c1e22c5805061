#include "LoopHarness.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "bkcom/VelarnMessageRegistry.h"
#include "bkmp/bkmp.h"

namespace bkcomtest {

void RecordingLoopHandler::HandleMessage(CVelarnMessage* message, CBrenikCommunicationClient* client,
                                         int* handled) {
  EXPECT_NE(nullptr, client);
  EXPECT_EQ(1, *handled);
  *handled = 0;  // kept: the loop must not delete it
  std::lock_guard<std::mutex> lock(mutex);
  messages.emplace_back(message);
  hooks.push_back("HandleMessage");
  changed.notify_all();
}

void RecordingLoopHandler::OnClientConnected() {
  Record("OnClientConnected");
  if (onConnected) {
    onConnected(*this);
  }
}

CVelarnMessageRegistry* RecordingLoopHandler::GetMessageFactory() {
  Record("GetMessageFactory");
  return &CVelarnMessageRegistry::Instance();
}

void RecordingLoopHandler::Record(const std::string& hook) {
  std::lock_guard<std::mutex> lock(mutex);
  hooks.push_back(hook);
  changed.notify_all();
}

std::vector<std::string> RecordingLoopHandler::Hooks() {
  std::lock_guard<std::mutex> lock(mutex);
  return hooks;
}

size_t RecordingLoopHandler::Count(const std::string& hook) {
  std::lock_guard<std::mutex> lock(mutex);
  return static_cast<size_t>(std::count(hooks.begin(), hooks.end(), hook));
}

bool RecordingLoopHandler::WaitForHook(const std::string& hook, size_t count,
                                       std::chrono::milliseconds timeout) {
  std::unique_lock<std::mutex> lock(mutex);
  return changed.wait_for(lock, timeout, [&] {
    return static_cast<size_t>(std::count(hooks.begin(), hooks.end(), hook)) >= count;
  });
}

std::vector<std::shared_ptr<CVelarnMessage>> RecordingLoopHandler::Messages() {
  std::lock_guard<std::mutex> lock(mutex);
  return messages;
}

bool RecordingLoopHandler::WaitForMessages(size_t count, std::chrono::milliseconds timeout) {
  std::unique_lock<std::mutex> lock(mutex);
  return changed.wait_for(lock, timeout, [&] { return messages.size() >= count; });
}

LoopThread::LoopThread(bkcom::EventLoop& loop, bkcom::ABKComEventHandler& handler, const std::string& address)
    : loop(loop) {
  thread = std::thread([this, &handler, address] {
    this->loop.Run(handler, address);
    finished = true;
  });
}

bool LoopThread::Stop(std::chrono::milliseconds timeout) {
  loop.Stop();
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  while (!finished && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(2ms);
  }
  if (thread.joinable()) {
    finished ? thread.join() : thread.detach();  // left behind if Run never ends
  }
  return finished;
}

TestPeer::TestPeer() = default;

int TestPeer::ConnectOnce(const std::string& address) {
  BKMPConnection connection = nullptr;
  int code = BKMPConnectionCreate(&connection, 20000);
  if (code != BKMP_OK) {
    return code;
  }
  code = BKMPConnectionConnectTimeout(connection, address.c_str(), 1000000);
  if (code != BKMP_OK) {
    BKMPConnectionDestroy(connection);
    return code;
  }
  client.Close();
  client.SetConnection(connection);
  return BKMP_OK;
}

int TestPeer::Connect(const std::string& address, std::chrono::milliseconds timeout) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  for (;;) {
    const int code = ConnectOnce(address);
    if (code == BKMP_OK || std::chrono::steady_clock::now() >= deadline) {
      return code;
    }
    std::this_thread::sleep_for(20ms);
  }
}

std::unique_ptr<CBrenikCommunicationMessage> TestPeer::Receive(std::chrono::milliseconds timeout, int* code) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  int result = BKMP_E_TIMEOUT;
  std::unique_ptr<CBrenikCommunicationMessage> message;
  BKMPMessage handle = nullptr;
  do {
    result = BKMPConnectionReceive(client.GetConnection(), &handle);
  } while (result == BKMP_E_TIMEOUT && std::chrono::steady_clock::now() < deadline);
  if (result == BKMP_OK) {
    message.reset(new CBrenikCommunicationMessage());
    message->Attach(handle);
  }
  if (code != nullptr) {
    *code = result;
  }
  return message;
}

bool TestPeer::WaitForClose(std::chrono::milliseconds timeout) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  for (;;) {
    BKMPMessage handle = nullptr;
    const int code = BKMPConnectionReceive(client.GetConnection(), &handle);
    if (code == BKMP_OK) {
      BKMPMessageDestroy(handle);  // what came before the close doesn't matter here
    } else if (code != BKMP_E_TIMEOUT) {
      return true;
    }
    if (std::chrono::steady_clock::now() >= deadline) {
      return false;
    }
  }
}

int MessageIdOf(CBrenikCommunicationMessage& message) {
  int8_t id = -1;
  return message.GetInt8("MessageID", &id) ? id : -1;
}

}  // namespace bkcomtest

#include "NavFakeDaemon.h"

#include "bkcom/Actions.h"
#include "bkcom/MessageCatalogue.h"
#include "bkcom/Text.h"
#include "bkcom/VelarnMessageRegistry.h"

namespace navtest {

FakeDaemon::FakeDaemon(const std::string& address) : address(address) {}

FakeDaemon::~FakeDaemon() { Stop(); }

void FakeDaemon::Start() {
  thread = std::thread([this] { loop.Run(*this, address); });
}

void FakeDaemon::Stop() {
  loop.Stop();
  if (thread.joinable()) {
    thread.join();
  }
}

void FakeDaemon::HandleMessage(CVelarnMessage* message, CBrenikCommunicationClient*, int*) {
  const std::string line = Describe(*message);
  {
    std::lock_guard<std::mutex> lock(mutex);
    received.push_back(line);
    changed.notify_all();
  }
  const CAbstractAction* action = dynamic_cast<const CAbstractAction*>(message);
  if (action != nullptr) {  // every action is answered with CAcknowledge Error=1
    CAcknowledge ack;
    ack.actionId = action->actionId;
    ack.error = 1;
    SendEvent(ack);
  }
}

void FakeDaemon::OnClientConnected() {
  CVelarnInitBrenikAction init;
  init.actionId = 2;
  bkcom::CopyText(init.version, "1.0.5");
  init.navStateUpdate = 60;
  SendEvent(init);
}

CVelarnMessageRegistry* FakeDaemon::GetMessageFactory() { return &CVelarnMessageRegistry::Instance(); }

std::vector<std::string> FakeDaemon::Received() {
  std::lock_guard<std::mutex> lock(mutex);
  return received;
}

bool FakeDaemon::WaitForReceived(size_t count, std::chrono::milliseconds timeout) {
  std::unique_lock<std::mutex> lock(mutex);
  return changed.wait_for(lock, timeout, [&] { return received.size() >= count; });
}

std::string Describe(CVelarnMessage& message) {
  const bkcom::MessageInfo* info = bkcom::FindMessageInfo(message.GetMessageId());
  if (info == nullptr || !message.Encode()) {
    return "?";
  }
  std::string line = info->className;
  for (const bkcom::FieldInfo& field : info->fields) {
    std::string value;
    line += " " + field.name + "=" + (bkcom::ReadFieldValue(message.message, field, value) ? value : "?");
  }
  return line;
}

}  // namespace navtest

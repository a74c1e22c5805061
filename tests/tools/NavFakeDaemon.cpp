#include "NavFakeDaemon.h"

#include <vector>

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
  if (acknowledge && action != nullptr) {
    CAcknowledge ack;
    ack.actionId = action->actionId;
    ack.error = 1;
    SendEvent(ack);
  }
}

void FakeDaemon::OnClientConnected() {
  {
    std::lock_guard<std::mutex> lock(mutex);
    ++connections;
    changed.notify_all();
  }
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

bool FakeDaemon::WaitForConnections(int count, std::chrono::milliseconds timeout) {
  std::unique_lock<std::mutex> lock(mutex);
  return changed.wait_for(lock, timeout, [&] { return connections >= count; });
}

std::string Describe(CVelarnMessage& message) {
  const bkcom::MessageInfo* info = bkcom::FindMessageInfo(message.GetMessageId());
  if (info == nullptr || !message.Encode()) {
    return "?";
  }
  std::string line = info->className;
  for (const bkcom::FieldInfo& field : info->fields) {
    const char* key = field.name.c_str();
    std::string value = "?";
    uint32_t u32 = 0;
    int32_t i32 = 0;
    uint16_t u16 = 0;
    uint8_t u8 = 0;
    int flag = 0;
    std::vector<char> text(static_cast<size_t>(field.textSize > 0 ? field.textSize : 1));
    switch (field.kind) {
      case bkcom::FieldKind::Uint32:
        value = message.message.GetUint32(key, &u32) ? std::to_string(u32) : "?";
        break;
      case bkcom::FieldKind::Int32:
        value = message.message.GetInt32(key, &i32) ? std::to_string(i32) : "?";
        break;
      case bkcom::FieldKind::Uint16:
        value = message.message.GetUint16(key, &u16) ? std::to_string(u16) : "?";
        break;
      case bkcom::FieldKind::Uint8:
        value = message.message.GetUint8(key, &u8) ? std::to_string(u8) : "?";
        break;
      case bkcom::FieldKind::Bool:
        value = message.message.GetBool(key, &flag) ? std::to_string(flag) : "?";
        break;
      case bkcom::FieldKind::Text:
        value = message.message.GetStr(key, text.data(), field.textSize) ? text.data() : "?";
        break;
      case bkcom::FieldKind::Int8:
        break;
    }
    line += " " + field.name + "=" + value;
  }
  return line;
}

}  // namespace navtest

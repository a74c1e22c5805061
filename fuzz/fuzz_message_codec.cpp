// Server messages from outside: whatever the bytes, parsing ends in a typed
// message or a ParseException, and a tree that parsed writes back into bytes
// that parse into the same tree (and the same typed message, if any).
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>

#include "common/Buffer.h"
#include "common/Exceptions.h"
#include "quorlan/AIncomingMessage.h"
#include "quorlan/IIncomingMessageHandler.h"
#include "quorlan/IncomingMessages.h"
#include "quorlan/Message.h"
#include "quorlan/MessageCodec.h"
#include "quorlan/MessageDump.h"

namespace {

void Check(bool condition) {
  if (!condition) {
    std::abort();
  }
}

// Touches every field that a handler would read, so that a wrong state or a
// broken value shows under the sanitizers.
class Reader : public quorlan::IIncomingMessageHandler {
 public:
  void Handle(const quorlan::NewOrderInMsg& m) override {
    Check(m.orderId.IsSet() && m.number.IsSet() && m.text.IsSet() && m.acceptanceRequired.IsSet());
    sum += m.number.value.size() + m.text.value.size() + m.destination.value.description.value.size();
    for (const quorlan::TelephoneEntry& entry : m.telephoneNumbers.value) {
      Check(entry.number.IsSet());
      sum += entry.name.value.size() + entry.number.value.size();
    }
  }
  void Handle(const quorlan::UpdateOrderInMsg& m) override {
    Check(m.orderId.IsSet());
    sum += m.telephoneNumbers.value.size();
  }
  void Handle(const quorlan::CancelOrderInMsg& m) override { Check(m.orderId.IsSet()); }
  void Handle(const quorlan::NewTextMessageInMsg& m) override {
    Check(m.messageId.IsSet() && m.text.IsSet());
    sum += m.text.value.size();
  }
  void Handle(const quorlan::ConfigurationInMsg& m) override { sum += m.resetMode.value; }
  void Handle(const quorlan::ResetInMsg& m) override { sum += m.deleteOrders.value ? 1 : 0; }
  size_t sum = 0;
};

// 0 when the bytes don't parse into a typed message, else its id.
unsigned TypedId(const common::Buffer& bytes) {
  try {
    const boost::shared_ptr<quorlan::AIncomingMessage> message = quorlan::MessageCodec::Parse(bytes);
    Check(message->GetId() == (bytes[0] << 8 | bytes[1]));
    Reader reader;
    message->Dispatch(reader);
    return message->GetId();
  } catch (const ParseException&) {
    return 0;
  }
}

std::string DumpOf(const quorlan::Message& message) {
  std::ostringstream text;
  text << message;
  return text.str();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  common::Buffer input(static_cast<unsigned>(size), 200);
  input.Append(data, static_cast<unsigned>(size));
  const unsigned typed = TypedId(input);

  quorlan::Message first;
  try {
    first.Parse(input);
  } catch (const ParseException&) {
    Check(typed == 0);
    return 0;
  }
  // Whatever parsed is within every writing limit.
  common::Buffer once(64, 200);
  first.Serialize(once);
  quorlan::Message second;
  second.Parse(once);
  common::Buffer twice(64, 200);
  second.Serialize(twice);
  Check(once.GetSize() == twice.GetSize());
  Check(std::string(reinterpret_cast<const char*>(once.GetData()), once.GetSize()) ==
        std::string(reinterpret_cast<const char*>(twice.GetData()), twice.GetSize()));
  Check(DumpOf(first) == DumpOf(second));
  Check(TypedId(once) == typed);
  return 0;
}

#include "quorlan/MessageCodec.h"

#include "common/Buffer.h"
#include "common/Exceptions.h"
#include "quorlan/AOutgoingMessage.h"
#include "quorlan/IncomingMessageFactory.h"
#include "quorlan/IncomingMessages.h"
#include "quorlan/Message.h"

namespace quorlan {

namespace {

// The factories live in this file on purpose: a static library hands the
// linker only the object files that something references. Anything that calls
// Parse pulls in this object file, and with it the registrations below; had
// each factory sat next to its class, a program that never names the class
// would lose it.
IncomingMessageFactory<NewOrderInMsg> newOrderFactory;
IncomingMessageFactory<UpdateOrderInMsg> updateOrderFactory;
IncomingMessageFactory<CancelOrderInMsg> cancelOrderFactory;
IncomingMessageFactory<NewTextMessageInMsg> newTextMessageFactory;
IncomingMessageFactory<ConfigurationInMsg> configurationFactory;
IncomingMessageFactory<ResetInMsg> resetFactory;

}  // namespace

MessageCodec& MessageCodec::Instance() {
  // Never deleted: registrations and parses may come from static objects
  // whose order of construction and destruction nothing fixes.
  static MessageCodec* const instance = new MessageCodec;
  return *instance;
}

void MessageCodec::Register(AIncomingMessageFactory& factory) {
  Instance().factories[factory.GetMessageId()] = &factory;
}

bool MessageCodec::IsRegistered(uint16_t id) { return Instance().factories.count(id) != 0; }

boost::shared_ptr<AIncomingMessage> MessageCodec::Parse(const common::Buffer& buffer) {
  Message tree(0);
  tree.Parse(buffer);
  const MessageCodec& codec = Instance();
  const auto found = codec.factories.find(tree.GetId());
  if (found == codec.factories.end()) {
    throw ParseException("unknown message");
  }
  boost::shared_ptr<AIncomingMessage> message = found->second->Create();
  message->ReadFrom(tree);
  return message;
}

void MessageCodec::Serialize(const AOutgoingMessage& message, common::Buffer& buffer) {
  buffer.Clear();
  try {
    Message tree(0);
    message.WriteTo(tree);
    tree.Serialize(buffer);
  } catch (...) {
    buffer.Clear();
    throw;
  }
}

}  // namespace quorlan

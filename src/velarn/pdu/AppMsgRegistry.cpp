#include "velarn/pdu/AppMsgRegistry.h"

#include <memory>

#include "common/Buffer.h"
#include "common/Exceptions.h"
#include "velarn/pdu/IncomingAppMsgs.h"

namespace velarn {

AppMsgRegistry& AppMsgRegistry::Instance() {
  // Made on first use, which is the first factory's registration during
  // static initialisation; the order of the factories below doesn't matter.
  static AppMsgRegistry registry;
  return registry;
}

void AppMsgRegistry::Register(AIncomingAppMsgFactory& factory) { factories[factory.GetId()] = &factory; }

AIncomingAppMsg* AppMsgRegistry::Decode(const common::Buffer& buffer) const {
  PDU pdu(0);
  pdu.Parse(buffer);
  const auto found = factories.find(pdu.id);
  if (found == factories.end()) {
    throw ParseException("can't find a factory");
  }
  std::unique_ptr<AIncomingAppMsg> message(found->second->Create());
  message->Decode(pdu);
  return message.release();
}

void AppMsgRegistry::Encode(const AOutgoingAppMsg& message, common::Buffer& buffer) const {
  buffer.Clear();
  PDU pdu(0);
  message.Encode(pdu);
  pdu.Serialize(buffer);
}

namespace {

// The factories of the ten incoming PDUs, registering themselves in this
// order. They live in this file on purpose: a static library only contributes
// the object files that something references, and every user of the registry
// references this one, so the factories can't be left behind by the linker
// the way they would be in a file of their own.
IncomingAppMsgFactory<AppMsg_1_2> factory_1_2;
IncomingAppMsgFactory<AppMsg_4_3> factory_4_3;
IncomingAppMsgFactory<AppMsg_4_5> factory_4_5;
IncomingAppMsgFactory<AppMsg_4_6> factory_4_6;
IncomingAppMsgFactory<AppMsg_4_8> factory_4_8;
IncomingAppMsgFactory<AppMsg_4_A> factory_4_A;
IncomingAppMsgFactory<AppMsg_7_1> factory_7_1;
IncomingAppMsgFactory<AppMsg_8_2> factory_8_2;
IncomingAppMsgFactory<AppMsg_8_4> factory_8_4;
IncomingAppMsgFactory<AppMsg_8_6> factory_8_6;

}  // namespace

}  // namespace velarn

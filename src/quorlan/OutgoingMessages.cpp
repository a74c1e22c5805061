#include "quorlan/OutgoingMessages.h"

#include <boost/make_shared.hpp>

#include "common/Exceptions.h"
#include "quorlan/IntegerMessageNode.h"
#include "quorlan/ListMessageNode.h"
#include "quorlan/Message.h"

namespace quorlan {

namespace {

// A list of ids is always required: an empty list says "none", a missing one
// would say nothing.
void PutIdList(AContainerNode& container, uint8_t key, const MessageField<std::vector<uint32_t>>& field) {
  if (field.state != Set) {
    throw SerializeException("can't serialize parameter: " + std::to_string(key));
  }
  const boost::shared_ptr<ListMessageNode> list = boost::make_shared<ListMessageNode>();
  for (const uint32_t id : field.value) {
    list->SetNode(0, boost::make_shared<IntegerMessageNode>(id));
  }
  container.SetNode(key, list);
}

}  // namespace

void ErrorOutMsg::WriteTo(Message& message) const {
  AOutgoingMessage::WriteTo(message);
  PutField(message, 1, errorCode, true, false);
  PutField(message, 2, time, true, false);
  PutField(message, 3, release, true, false);
  PutField(message, 4, text, false, false);
  PutField(message, 5, data, false, false);
}

void NewVelarnConnectedOutMsg::WriteTo(Message& message) const {
  AOutgoingMessage::WriteTo(message);
  PutField(message, 1, time, true, false);
  PutIdList(message, 2, orderIds);
  PutIdList(message, 3, textMessageIds);
  PutField(message, 4, release, true, false);
  PutField(message, 5, resetMode, true, false);
}

}  // namespace quorlan

#include "quorlan/IncomingMessages.h"

#include "common/Exceptions.h"
#include "quorlan/IIncomingMessageHandler.h"
#include "quorlan/ListMessageNode.h"
#include "quorlan/Message.h"
#include "quorlan/NullMessageNode.h"
#include "quorlan/StructMessageNode.h"

namespace quorlan {

namespace {

// Groups name no key in their failure text: the server sees the same
// "node has unexpected type" for a wrong group node and a wrong list element.
const char kUnexpectedType[] = "node has unexpected type";

// Absent without the key; Null for a null node where nullable; otherwise the
// node, which the caller checks for its container type.
bool FindGroup(AContainerNode& container, uint8_t key, FieldState& state, bool nullable,
               MessageNodePtr& node) {
  const MessageNodePtr* found = container.FindNode(key);
  if (found == nullptr) {
    state = Absent;
    return false;
  }
  node = *found;
  if (nullable && dynamic_cast<const NullMessageNode*>(node.get()) != nullptr) {
    state = Null;
    return false;
  }
  return true;
}

void ReadDestination(AContainerNode& container, uint8_t key, MessageField<DestinationGroup>& field,
                     bool nullable) {
  MessageNodePtr node;
  if (!FindGroup(container, key, field.state, nullable, node)) {
    return;
  }
  auto* group = dynamic_cast<StructMessageNode*>(node.get());
  if (group == nullptr) {
    throw ParseException(kUnexpectedType);
  }
  GetField(*group, 1, field.value.latitude, true, false);
  GetField(*group, 2, field.value.longitude, true, false);
  GetField(*group, 3, field.value.description, true, false);
  field.state = Set;
}

void ReadTelephoneNumbers(AContainerNode& container, uint8_t key, MessageField<TelephoneNumbers>& field,
                          bool nullable) {
  MessageNodePtr node;
  if (!FindGroup(container, key, field.state, nullable, node)) {
    return;
  }
  const auto* list = dynamic_cast<const ListMessageNode*>(node.get());
  if (list == nullptr) {
    throw ParseException(kUnexpectedType);
  }
  field.value.clear();
  for (const MessageNodePtr& element : list->GetNodes()) {
    auto* entryNode = dynamic_cast<StructMessageNode*>(element.get());
    if (entryNode == nullptr) {
      throw ParseException(kUnexpectedType);
    }
    TelephoneEntry entry;
    GetField(*entryNode, 1, entry.name, false, false);
    GetField(*entryNode, 2, entry.number, true, false);
    field.value.push_back(entry);
  }
  field.state = Set;
}

}  // namespace

void NewOrderInMsg::ReadFrom(Message& message) {
  GetField(message, 1, orderId, true, false);
  GetField(message, 2, number, true, false);
  GetField(message, 3, orderType, true, false);
  GetField(message, 4, text, true, false);
  GetField(message, 5, allowedActiveStates, true, false);
  ReadDestination(message, 6, destination, false);
  GetField(message, 7, acceptanceRequired, true, false);
  GetField(message, 8, plannedArrival, false, false);
  ReadTelephoneNumbers(message, 9, telephoneNumbers, false);
}

void NewOrderInMsg::Dispatch(IIncomingMessageHandler& handler) const { handler.Handle(*this); }

void UpdateOrderInMsg::ReadFrom(Message& message) {
  GetField(message, 1, orderId, true, false);
  GetField(message, 2, number, false, false);
  GetField(message, 4, text, false, false);
  ReadDestination(message, 6, destination, true);
  GetField(message, 8, plannedArrival, false, true);
  ReadTelephoneNumbers(message, 9, telephoneNumbers, true);
}

void UpdateOrderInMsg::Dispatch(IIncomingMessageHandler& handler) const { handler.Handle(*this); }

void CancelOrderInMsg::ReadFrom(Message& message) { GetField(message, 1, orderId, true, false); }

void CancelOrderInMsg::Dispatch(IIncomingMessageHandler& handler) const { handler.Handle(*this); }

void NewTextMessageInMsg::ReadFrom(Message& message) {
  GetField(message, 1, messageId, true, false);
  GetField(message, 2, text, true, false);
}

void NewTextMessageInMsg::Dispatch(IIncomingMessageHandler& handler) const { handler.Handle(*this); }

void ConfigurationInMsg::ReadFrom(Message& message) {
  GetField(message, 1, askDriverId, false, false);
  GetField(message, 2, logbookEnabled, false, false);
  GetField(message, 3, thirdLogbookMode, false, false);
  GetField(message, 4, workingTimeEnabled, false, false);
  GetField(message, 5, logbookFollowsWorkingTime, false, false);
  GetField(message, 6, etaEnabled, false, false);
  GetField(message, 7, etaIntervalHome, false, false);
  GetField(message, 8, etaIntervalRoaming, false, false);
  GetField(message, 10, privacyEnabled, false, false);
  GetField(message, 11, resetMode, false, false);
}

void ConfigurationInMsg::Dispatch(IIncomingMessageHandler& handler) const { handler.Handle(*this); }

void ResetInMsg::ReadFrom(Message& message) {
  GetField(message, 1, deleteOrders, false, false);
  GetField(message, 2, deleteTextMessages, false, false);
}

void ResetInMsg::Dispatch(IIncomingMessageHandler& handler) const { handler.Handle(*this); }

}  // namespace quorlan

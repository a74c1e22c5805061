#include "quorlan/EventOutMessages.h"

#include <boost/make_shared.hpp>

#include "common/Exceptions.h"
#include "quorlan/Message.h"
#include "quorlan/StructMessageNode.h"

namespace quorlan {

namespace {

void PutPosition(AContainerNode& container, uint8_t key, const MessageField<PositionGroup>& field) {
  if (field.state == Absent) {
    return;
  }
  if (field.state == Null) {
    throw SerializeException("can't serialize parameter: " + std::to_string(key));
  }
  const PositionGroup& position = field.value;
  const boost::shared_ptr<StructMessageNode> group = boost::make_shared<StructMessageNode>();
  PutField(*group, 1, position.valid, true, false);
  PutField(*group, 2, position.latitude, true, false);
  PutField(*group, 3, position.longitude, true, false);
  PutField(*group, 4, position.time, true, false);
  PutField(*group, 5, position.satellites, true, false);
  PutField(*group, 6, position.course, true, false);
  PutField(*group, 7, position.speed, true, false);
  container.SetNode(key, group);
}

}  // namespace

void AEventOutMsg::WriteTo(Message& message) const {
  AOutgoingMessage::WriteTo(message);
  PutField(message, 1, time, true, false);
  PutField(message, 2, linkAge, true, false);
  PutPosition(message, 3, unitPosition);
  PutPosition(message, 4, navigationPosition);
  PutField(message, 5, odometer, false, false);
  PutField(message, 6, tripValue, false, false);
  PutField(message, 7, logbookMode, false, false);
}

void StatusEventOutMsg::WriteTo(Message& message) const {
  AEventOutMsg::WriteTo(message);
  PutField(message, 0x81, statusId, true, false);
  PutField(message, 0x82, text, false, false);
}

void OrderStatusEventOutMsg::WriteTo(Message& message) const {
  AEventOutMsg::WriteTo(message);
  PutField(message, 0x81, statusId, true, false);
  PutField(message, 0x82, text, false, false);
  PutField(message, 0x83, orderId, true, false);
}

void OrderWorkflowEventOutMsg::WriteTo(Message& message) const {
  AEventOutMsg::WriteTo(message);
  PutField(message, 0x82, text, false, false);
  PutField(message, 0x83, orderId, true, false);
  PutField(message, 0x84, orderType, true, false);
  PutField(message, 0x85, workflowCode, true, false);
}

void TextMessageEventOutMsg::WriteTo(Message& message) const {
  AEventOutMsg::WriteTo(message);
  PutField(message, 0x82, text, true, false);
}

void WorkingTimeReportOutMsg::WriteTo(Message& message) const {
  AEventOutMsg::WriteTo(message);
  PutField(message, 0x86, previousState, true, false);
  PutField(message, 0x87, newState, true, false);
  PutField(message, 0x88, driverId, true, false);
  PutField(message, 0x89, extra, false, false);
}

void ETAReportOutMsg::WriteTo(Message& message) const {
  AEventOutMsg::WriteTo(message);
  PutField(message, 0x83, orderId, true, false);
  PutField(message, 0x8A, reportKind, true, false);
  PutField(message, 0x8B, distance, false, false);
  PutField(message, 0x8C, eta, false, false);
}

void DriverIdChangedOutMsg::WriteTo(Message& message) const {
  AEventOutMsg::WriteTo(message);
  PutField(message, 0x88, driverId, true, false);
  PutField(message, 0x8F, previousDriverId, true, false);
}

void TextMessageWorkflowEventOutMsg::WriteTo(Message& message) const {
  AEventOutMsg::WriteTo(message);
  PutField(message, 0x8D, messageId, true, false);
  PutField(message, 0x8E, workflowCode, true, false);
}

}  // namespace quorlan

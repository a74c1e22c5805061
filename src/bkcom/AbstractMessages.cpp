#include "bkcom/AbstractMessages.h"

bool CAbstractAction::Decode(CBrenikCommunicationMessage& source) {
  return CVelarnMessage::Decode(source) && source.GetUint32("ActionId", &actionId);
}

bool CAbstractAction::Encode() { return CVelarnMessage::Encode() && message.SetUint32("ActionId", actionId); }

bool CAbstractOrderAction::Decode(CBrenikCommunicationMessage& source) {
  return CAbstractAction::Decode(source) && source.GetUint32("OrderId", &orderId);
}

bool CAbstractOrderAction::Encode() {
  return CAbstractAction::Encode() && message.SetUint32("OrderId", orderId);
}

bool CAbstractTextMessageAction::Decode(CBrenikCommunicationMessage& source) {
  return CAbstractAction::Decode(source) && source.GetUint32("MsgId", &msgId);
}

bool CAbstractTextMessageAction::Encode() {
  return CAbstractAction::Encode() && message.SetUint32("MsgId", msgId);
}

bool CAbstractOrderEvent::Decode(CBrenikCommunicationMessage& source) {
  return CVelarnMessage::Decode(source) && order.Decode(source, "Order_");
}

bool CAbstractOrderEvent::Encode() { return CVelarnMessage::Encode() && order.Encode(message, "Order_"); }

bool CAbstractTextMessageEvent::Decode(CBrenikCommunicationMessage& source) {
  return CVelarnMessage::Decode(source) && msg.Decode(source, "Msg_");
}

bool CAbstractTextMessageEvent::Encode() { return CVelarnMessage::Encode() && msg.Encode(message, "Msg_"); }

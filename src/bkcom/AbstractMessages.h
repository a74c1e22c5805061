#pragma once

// The common bases of the navigation link's messages. An action asks the
// other side to do something and carries "ActionId", which the answering
// CAcknowledge quotes; an event reports.

#include <cstdint>

#include "bkcom/Records.h"
#include "bkcom/VelarnMessage.h"

class CAbstractAction : public CVelarnMessage {
 public:
  bool Decode(CBrenikCommunicationMessage& source) override;
  bool Encode() override;

  uint32_t actionId = 0;
};

class CAbstractOrderAction : public CAbstractAction {
 public:
  bool Decode(CBrenikCommunicationMessage& source) override;
  bool Encode() override;

  uint32_t orderId = 0;
};

class CAbstractTextMessageAction : public CAbstractAction {
 public:
  bool Decode(CBrenikCommunicationMessage& source) override;
  bool Encode() override;

  uint32_t msgId = 0;
};

class CAbstractOrderEvent : public CVelarnMessage {
 public:
  bool Decode(CBrenikCommunicationMessage& source) override;
  bool Encode() override;

  COrderRecord order;  // at "Order_"
};

class CAbstractTextMessageEvent : public CVelarnMessage {
 public:
  bool Decode(CBrenikCommunicationMessage& source) override;
  bool Encode() override;

  CTextMessageRecord msg;  // at "Msg_"
};

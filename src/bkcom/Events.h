#pragma once

// The events of the navigation link. All but CNavigationStateEvent and
// CGPSEvent go to the navigation application. Classes with only their base's
// fields differ in the number alone.

#include <cstdint>

#include "bkcom/AbstractMessages.h"
#include "bkcom/Records.h"

// Whether the link to the unit is up.
class CConnectionStateEvent : public CVelarnMessage {
 public:
  static constexpr int kId = 2;
  int GetMessageId() const override { return kId; }
  bool Decode(CBrenikCommunicationMessage& source) override;
  bool Encode() override;

  bool connected = false;
};

class COrderInfoEvent : public CAbstractOrderEvent {
 public:
  static constexpr int kId = 3;
  int GetMessageId() const override { return kId; }
};

class COrderReceivedEvent : public CAbstractOrderEvent {
 public:
  static constexpr int kId = 4;
  int GetMessageId() const override { return kId; }
};

// "Remote": the change came from the server or the daemon, not from the application's own action.
class COrderModifiedEvent : public CAbstractOrderEvent {
 public:
  static constexpr int kId = 5;
  int GetMessageId() const override { return kId; }
  bool Decode(CBrenikCommunicationMessage& source) override;
  bool Encode() override;

  bool remote = false;
};

// Carries no record, only the order's id.
class COrderDeletedEvent : public CVelarnMessage {
 public:
  static constexpr int kId = 6;
  int GetMessageId() const override { return kId; }
  bool Decode(CBrenikCommunicationMessage& source) override;
  bool Encode() override;

  uint32_t orderId = 0;
  bool remote = false;
};

class CTextMessageInfoEvent : public CAbstractTextMessageEvent {
 public:
  static constexpr int kId = 7;
  int GetMessageId() const override { return kId; }
};

class CTextMessageReceivedEvent : public CAbstractTextMessageEvent {
 public:
  static constexpr int kId = 8;
  int GetMessageId() const override { return kId; }
};

class CTextMessageModifiedEvent : public CAbstractTextMessageEvent {
 public:
  static constexpr int kId = 9;
  int GetMessageId() const override { return kId; }
  bool Decode(CBrenikCommunicationMessage& source) override;
  bool Encode() override;

  bool remote = false;
};

class CTextMessageDeletedEvent : public CVelarnMessage {
 public:
  static constexpr int kId = 10;
  int GetMessageId() const override { return kId; }
  bool Decode(CBrenikCommunicationMessage& source) override;
  bool Encode() override;

  uint32_t msgId = 0;
  bool remote = false;
};

class CStatusInfoEvent : public CVelarnMessage {
 public:
  static constexpr int kId = 11;
  int GetMessageId() const override { return kId; }
  bool Decode(CBrenikCommunicationMessage& source) override;
  bool Encode() override;

  CStatusRecord status;  // at "Status_"
};

class CStatusListUpdatedEvent : public CVelarnMessage {
 public:
  static constexpr int kId = 12;
  int GetMessageId() const override { return kId; }
  bool Decode(CBrenikCommunicationMessage& source) override;
  bool Encode() override;

  uint32_t type = 0;
};

// Features switched on: working time recording, logbook, asking for the driver's id, the GPS feed.
class CFeaturesInfoEvent : public CVelarnMessage {
 public:
  static constexpr int kId = 13;
  int GetMessageId() const override { return kId; }
  bool Decode(CBrenikCommunicationMessage& source) override;
  bool Encode() override;

  bool wtr = false;
  bool logbook = false;
  bool askDriverId = false;
  bool gpsFeed = false;
};

// Holds "MessageID" alone.
class CKeepAliveEvent : public CVelarnMessage {
 public:
  static constexpr int kId = 15;
  int GetMessageId() const override { return kId; }
};

class CLogbookStateEvent : public CVelarnMessage {
 public:
  static constexpr int kId = 16;
  int GetMessageId() const override { return kId; }
  bool Decode(CBrenikCommunicationMessage& source) override;
  bool Encode() override;

  CLogbookRecord logbook;  // at "Logbook_"
};

// Guidance state of the application: "NavType" 1 means none is under way; "ETA" in seconds since 1970, 0 if
// none.
class CNavigationStateEvent : public CVelarnMessage {
 public:
  static constexpr int kId = 43;
  int GetMessageId() const override { return kId; }
  bool Decode(CBrenikCommunicationMessage& source) override;
  bool Encode() override;

  uint32_t navType = 0;
  CPositionRecord uDst;  // at "UDst_"
  CPositionRecord rDst;  // at "RDst_"
  uint32_t eta = 0;
  uint32_t dist = 0;
};

class CCurrentWorkingTimeStateEvent : public CVelarnMessage {
 public:
  static constexpr int kId = 44;
  int GetMessageId() const override { return kId; }
  bool Decode(CBrenikCommunicationMessage& source) override;
  bool Encode() override;

  uint32_t currentState = 0;
  uint32_t allowedActions = 0;
  uint32_t lastAction = 0;
  uint32_t startOfWork = 0;
  uint32_t endOfWork = 0;
  uint32_t startOfLastPause = 0;
  uint32_t endOfLastPause = 0;
};

class CInboxInfoEvent : public CVelarnMessage {
 public:
  static constexpr int kId = 45;
  int GetMessageId() const override { return kId; }
  bool Decode(CBrenikCommunicationMessage& source) override;
  bool Encode() override;

  uint32_t orders = 0;
  uint32_t textMessages = 0;
};

// "Count" CStatusInfoEvent messages follow.
class CStatusListInfoEvent : public CVelarnMessage {
 public:
  static constexpr int kId = 46;
  int GetMessageId() const override { return kId; }
  bool Decode(CBrenikCommunicationMessage& source) override;
  bool Encode() override;

  uint32_t type = 0;
  uint32_t count = 0;
};

// The application's own position, in hundred-thousandths of a degree (the member for "Long" is lon: long is a
// keyword).
class CGPSEvent : public CVelarnMessage {
 public:
  static constexpr int kId = 51;
  int GetMessageId() const override { return kId; }
  bool Decode(CBrenikCommunicationMessage& source) override;
  bool Encode() override;

  bool val = false;
  int32_t lat = 0;
  int32_t lon = 0;
  uint32_t ts = 0;
  uint16_t speed = 0;
  uint16_t course = 0;
  uint8_t sat = 0;
};

class CPrivacyStateEvent : public CVelarnMessage {
 public:
  static constexpr int kId = 52;
  int GetMessageId() const override { return kId; }
  bool Decode(CBrenikCommunicationMessage& source) override;
  bool Encode() override;

  bool pm = false;
};

class CGPSFeedEvent : public CVelarnMessage {
 public:
  static constexpr int kId = 53;
  int GetMessageId() const override { return kId; }
  bool Decode(CBrenikCommunicationMessage& source) override;
  bool Encode() override;

  bool enabled = false;
};

#pragma once

// The actions of the navigation link, and the acknowledgement that answers
// them. All but CVelarnInitBrenikAction come from the navigation application.
// Classes with only their base's fields differ in the number alone.

#include <cstdint>

#include "bkcom/AbstractMessages.h"

// The answer to an action: "Error" 1 carried out, 2 refused.
class CAcknowledge : public CVelarnMessage {
 public:
  static constexpr int kId = 1;
  int GetMessageId() const override { return kId; }
  bool Decode(CBrenikCommunicationMessage& source) override;
  bool Encode() override;

  uint32_t actionId = 0;
  uint32_t error = 0;
};

// The daemon's first word to an attached application: the version of the message set and how often (seconds)
// to send CNavigationStateEvent.
class CVelarnInitBrenikAction : public CAbstractAction {
 public:
  static constexpr int kId = 18;
  int GetMessageId() const override { return kId; }
  bool Decode(CBrenikCommunicationMessage& source) override;
  bool Encode() override;

  char version[33] = {};
  uint32_t navStateUpdate = 0;
};

class CRequestWorkingTimeStateAction : public CAbstractAction {
 public:
  static constexpr int kId = 19;
  int GetMessageId() const override { return kId; }
};

class CChangeWorkingTimeStateAction : public CAbstractAction {
 public:
  static constexpr int kId = 20;
  int GetMessageId() const override { return kId; }
  bool Decode(CBrenikCommunicationMessage& source) override;
  bool Encode() override;

  uint32_t action = 0;
};

// The application's answer to CVelarnInitBrenikAction: the same version, the keep-alive interval in seconds
// (0: none) and three texts about itself.
class CBrenikInitVelarnAction : public CAbstractAction {
 public:
  static constexpr int kId = 21;
  int GetMessageId() const override { return kId; }
  bool Decode(CBrenikCommunicationMessage& source) override;
  bool Encode() override;

  uint32_t kaInterval = 0;
  char version[33] = {};
  char ncVersion[17] = {};
  char ncBuild[17] = {};
  char snr[17] = {};
};

class CGetConnectionStateAction : public CAbstractAction {
 public:
  static constexpr int kId = 22;
  int GetMessageId() const override { return kId; }
};

class CGetAllItemsAction : public CAbstractAction {
 public:
  static constexpr int kId = 23;
  int GetMessageId() const override { return kId; }
};

// "Type" is the list: 1 order statuses, 2 general statuses.
class CGetStatusListAction : public CAbstractAction {
 public:
  static constexpr int kId = 24;
  int GetMessageId() const override { return kId; }
  bool Decode(CBrenikCommunicationMessage& source) override;
  bool Encode() override;

  uint32_t type = 0;
};

class CMarkReadOrderAction : public CAbstractOrderAction {
 public:
  static constexpr int kId = 26;
  int GetMessageId() const override { return kId; }
};

class CAcceptOrderAction : public CAbstractOrderAction {
 public:
  static constexpr int kId = 27;
  int GetMessageId() const override { return kId; }
};

class CRejectOrderAction : public CAbstractOrderAction {
 public:
  static constexpr int kId = 28;
  int GetMessageId() const override { return kId; }
  bool Decode(CBrenikCommunicationMessage& source) override;
  bool Encode() override;

  char reason[201] = {};
};

class CCancelOrderAction : public CAbstractOrderAction {
 public:
  static constexpr int kId = 29;
  int GetMessageId() const override { return kId; }
  bool Decode(CBrenikCommunicationMessage& source) override;
  bool Encode() override;

  char reason[201] = {};
};

class CStartOrderAction : public CAbstractOrderAction {
 public:
  static constexpr int kId = 30;
  int GetMessageId() const override { return kId; }
};

class CSuspendOrderAction : public CAbstractOrderAction {
 public:
  static constexpr int kId = 31;
  int GetMessageId() const override { return kId; }
};

class CResumeOrderAction : public CAbstractOrderAction {
 public:
  static constexpr int kId = 32;
  int GetMessageId() const override { return kId; }
};

class CCompleteOrderAction : public CAbstractOrderAction {
 public:
  static constexpr int kId = 33;
  int GetMessageId() const override { return kId; }
};

class CSendStatusOrderAction : public CAbstractOrderAction {
 public:
  static constexpr int kId = 34;
  int GetMessageId() const override { return kId; }
  bool Decode(CBrenikCommunicationMessage& source) override;
  bool Encode() override;

  uint32_t statusId = 0;
  char text[201] = {};
};

class CChangeActiveStateAction : public CAbstractOrderAction {
 public:
  static constexpr int kId = 35;
  int GetMessageId() const override { return kId; }
  bool Decode(CBrenikCommunicationMessage& source) override;
  bool Encode() override;

  uint32_t newActiveState = 0;
};

class CDeleteOrderAction : public CAbstractOrderAction {
 public:
  static constexpr int kId = 36;
  int GetMessageId() const override { return kId; }
};

class CMarkReadTextMessageAction : public CAbstractTextMessageAction {
 public:
  static constexpr int kId = 37;
  int GetMessageId() const override { return kId; }
};

class CGetFeaturesInfoAction : public CAbstractAction {
 public:
  static constexpr int kId = 38;
  int GetMessageId() const override { return kId; }
};

class CDeleteTextMessageAction : public CAbstractTextMessageAction {
 public:
  static constexpr int kId = 39;
  int GetMessageId() const override { return kId; }
};

class CSendStatusAction : public CAbstractAction {
 public:
  static constexpr int kId = 40;
  int GetMessageId() const override { return kId; }
  bool Decode(CBrenikCommunicationMessage& source) override;
  bool Encode() override;

  uint32_t statusId = 0;
  char text[201] = {};
};

class CSendTextMessageAction : public CAbstractAction {
 public:
  static constexpr int kId = 41;
  int GetMessageId() const override { return kId; }
  bool Decode(CBrenikCommunicationMessage& source) override;
  bool Encode() override;

  char text[201] = {};
};

class CChangeLogbookModeAction : public CAbstractAction {
 public:
  static constexpr int kId = 42;
  int GetMessageId() const override { return kId; }
  bool Decode(CBrenikCommunicationMessage& source) override;
  bool Encode() override;

  uint32_t newMode = 0;
};

class CSetDriverIdAction : public CAbstractAction {
 public:
  static constexpr int kId = 47;
  int GetMessageId() const override { return kId; }
  bool Decode(CBrenikCommunicationMessage& source) override;
  bool Encode() override;

  uint32_t driverId = 0;
};

// Asks the daemon to close the link to the unit while the application stays attached.
class CSuspendAction : public CAbstractAction {
 public:
  static constexpr int kId = 48;
  int GetMessageId() const override { return kId; }
};

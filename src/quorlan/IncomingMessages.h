#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "quorlan/AIncomingMessage.h"
#include "quorlan/MessageField.h"

namespace quorlan {

// The destination of an order: a struct whose three keys are all required
// once the struct is there.
struct DestinationGroup {
  MessageField<int32_t> latitude;         // key 1, millionths of a degree, north positive
  MessageField<int32_t> longitude;        // key 2, millionths of a degree, east positive
  MessageField<std::string> description;  // key 3
};

// One contact of an order: an element (a struct) of the list in key 9.
struct TelephoneEntry {
  MessageField<std::string> name;    // key 1, optional
  MessageField<std::string> number;  // key 2, required
};

typedef std::vector<TelephoneEntry> TelephoneNumbers;

// A new order (0x0401). Keys 1 to 5 and 7 are required; a destination, once
// there, must be a struct and a contact list a list of structs.
class NewOrderInMsg : public AIncomingMessage {
 public:
  static constexpr uint16_t kMessageId = 0x0401;
  uint16_t GetId() const override { return kMessageId; }
  void ReadFrom(Message& message) override;
  void Dispatch(IIncomingMessageHandler& handler) const override;

  MessageField<uint32_t> orderId;                   // 1
  MessageField<std::string> number;                 // 2
  MessageField<uint8_t> orderType;                  // 3, see OrderTypeFromServer
  MessageField<std::string> text;                   // 4
  MessageField<uint32_t> allowedActiveStates;       // 5
  MessageField<DestinationGroup> destination;       // 6
  MessageField<bool> acceptanceRequired;            // 7
  MessageField<uint32_t> plannedArrival;            // 8, seconds since 2000
  MessageField<TelephoneNumbers> telephoneNumbers;  // 9
};

// A change of an order (0x0402): a key left out changes nothing, a null
// clears the value (keys 6, 8, 9).
class UpdateOrderInMsg : public AIncomingMessage {
 public:
  static constexpr uint16_t kMessageId = 0x0402;
  uint16_t GetId() const override { return kMessageId; }
  void ReadFrom(Message& message) override;
  void Dispatch(IIncomingMessageHandler& handler) const override;

  MessageField<uint32_t> orderId;                   // 1, required
  MessageField<std::string> number;                 // 2
  MessageField<std::string> text;                   // 4
  MessageField<DestinationGroup> destination;       // 6, nullable
  MessageField<uint32_t> plannedArrival;            // 8, nullable
  MessageField<TelephoneNumbers> telephoneNumbers;  // 9, nullable
};

// The cancellation of an order (0x0403).
class CancelOrderInMsg : public AIncomingMessage {
 public:
  static constexpr uint16_t kMessageId = 0x0403;
  uint16_t GetId() const override { return kMessageId; }
  void ReadFrom(Message& message) override;
  void Dispatch(IIncomingMessageHandler& handler) const override;

  MessageField<uint32_t> orderId;  // 1, required
};

// A text message from the office (0x0404).
class NewTextMessageInMsg : public AIncomingMessage {
 public:
  static constexpr uint16_t kMessageId = 0x0404;
  uint16_t GetId() const override { return kMessageId; }
  void ReadFrom(Message& message) override;
  void Dispatch(IIncomingMessageHandler& handler) const override;

  MessageField<uint32_t> messageId;  // 1, required
  MessageField<std::string> text;    // 2, required
};

// Settings (0x0405); every key optional and not nullable. There is no key 9.
class ConfigurationInMsg : public AIncomingMessage {
 public:
  static constexpr uint16_t kMessageId = 0x0405;
  uint16_t GetId() const override { return kMessageId; }
  void ReadFrom(Message& message) override;
  void Dispatch(IIncomingMessageHandler& handler) const override;

  MessageField<bool> askDriverId;                // 1
  MessageField<bool> logbookEnabled;             // 2
  MessageField<bool> thirdLogbookMode;           // 3
  MessageField<bool> workingTimeEnabled;         // 4
  MessageField<bool> logbookFollowsWorkingTime;  // 5
  MessageField<bool> etaEnabled;                 // 6
  MessageField<uint32_t> etaIntervalHome;        // 7, seconds
  MessageField<uint32_t> etaIntervalRoaming;     // 8, seconds
  MessageField<bool> privacyEnabled;             // 10
  MessageField<uint8_t> resetMode;               // 11
};

// Deletion of inbox entries (0x0406); both keys optional and not nullable.
class ResetInMsg : public AIncomingMessage {
 public:
  static constexpr uint16_t kMessageId = 0x0406;
  uint16_t GetId() const override { return kMessageId; }
  void ReadFrom(Message& message) override;
  void Dispatch(IIncomingMessageHandler& handler) const override;

  MessageField<bool> deleteOrders;        // 1
  MessageField<bool> deleteTextMessages;  // 2
};

}  // namespace quorlan

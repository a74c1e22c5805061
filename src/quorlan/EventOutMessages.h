#pragma once

#include <cstdint>
#include <string>

#include "quorlan/AOutgoingMessage.h"
#include "quorlan/MessageField.h"

namespace quorlan {

// A GPS position in an event header; all seven keys are required once the
// group is Set.
struct PositionGroup {
  MessageField<bool> valid;          // 1: a live fix, or the last known position
  MessageField<int32_t> latitude;    // 2: millionths of a degree, north positive
  MessageField<int32_t> longitude;   // 3: millionths of a degree, east positive
  MessageField<uint32_t> time;       // 4: time of the fix, seconds since 2000
  MessageField<uint8_t> satellites;  // 5: satellites in use
  MessageField<uint8_t> course;      // 6: in units of 2 degrees
  MessageField<uint16_t> speed;      // 7
};

// The header that all events to the server share, keys 1 to 7. The concrete
// events use keys from 0x81 on, one meaning per key across all classes.
class AEventOutMsg : public AOutgoingMessage {
 public:
  // Writes the id and the header; a concrete event calls this first.
  void WriteTo(Message& message) const override;

  MessageField<uint64_t> time;                     // 1, required: milliseconds since 2000
  MessageField<int32_t> linkAge;                   // 2, required: 0 up, -1 never up, else seconds down
  MessageField<PositionGroup> unitPosition;        // 3: Null fails to serialise
  MessageField<PositionGroup> navigationPosition;  // 4: Null fails to serialise
  MessageField<uint32_t> odometer;                 // 5
  MessageField<uint32_t> tripValue;                // 6
  MessageField<uint8_t> logbookMode;               // 7
};

// A status chosen by the driver (0x0501).
class StatusEventOutMsg : public AEventOutMsg {
 public:
  static constexpr uint16_t kMessageId = 0x0501;
  uint16_t GetId() const override { return kMessageId; }
  void WriteTo(Message& message) const override;

  MessageField<uint16_t> statusId;  // 0x81
  MessageField<std::string> text;   // 0x82, optional
};

// A status about an order (0x0502).
class OrderStatusEventOutMsg : public AEventOutMsg {
 public:
  static constexpr uint16_t kMessageId = 0x0502;
  uint16_t GetId() const override { return kMessageId; }
  void WriteTo(Message& message) const override;

  MessageField<uint16_t> statusId;  // 0x81
  MessageField<std::string> text;   // 0x82, optional
  MessageField<uint32_t> orderId;   // 0x83
};

// What happened to an order (0x0503).
class OrderWorkflowEventOutMsg : public AEventOutMsg {
 public:
  static constexpr uint16_t kMessageId = 0x0503;
  uint16_t GetId() const override { return kMessageId; }
  void WriteTo(Message& message) const override;

  MessageField<std::string> text;       // 0x82, optional: a reason
  MessageField<uint32_t> orderId;       // 0x83
  MessageField<uint8_t> orderType;      // 0x84, see OrderTypeToServer
  MessageField<uint16_t> workflowCode;  // 0x85
};

// A text from the driver (0x0504).
class TextMessageEventOutMsg : public AEventOutMsg {
 public:
  static constexpr uint16_t kMessageId = 0x0504;
  uint16_t GetId() const override { return kMessageId; }
  void WriteTo(Message& message) const override;

  MessageField<std::string> text;  // 0x82, required here
};

// A change of the working time state (0x0505).
class WorkingTimeReportOutMsg : public AEventOutMsg {
 public:
  static constexpr uint16_t kMessageId = 0x0505;
  uint16_t GetId() const override { return kMessageId; }
  void WriteTo(Message& message) const override;

  MessageField<uint8_t> previousState;  // 0x86, see WorkingTimeStateToServer
  MessageField<uint8_t> newState;       // 0x87
  MessageField<uint32_t> driverId;      // 0x88
  // 0x89, optional. Room kept for one more figure of the report; nothing
  // fills it today and the server accepts the message without it.
  MessageField<uint32_t> extra;
};

// An estimated arrival (0x0506).
class ETAReportOutMsg : public AEventOutMsg {
 public:
  static constexpr uint16_t kMessageId = 0x0506;
  uint16_t GetId() const override { return kMessageId; }
  void WriteTo(Message& message) const override;

  MessageField<uint32_t> orderId;    // 0x83
  MessageField<uint8_t> reportKind;  // 0x8A: 0 first, 1 change, 2 end of guidance
  MessageField<uint32_t> distance;   // 0x8B, optional
  MessageField<uint32_t> eta;        // 0x8C, optional, seconds since 2000
};

// A new driver (0x0507).
class DriverIdChangedOutMsg : public AEventOutMsg {
 public:
  static constexpr uint16_t kMessageId = 0x0507;
  uint16_t GetId() const override { return kMessageId; }
  void WriteTo(Message& message) const override;

  MessageField<uint32_t> driverId;          // 0x88
  MessageField<uint32_t> previousDriverId;  // 0x8F
};

// What happened to a text message from the office (0x0508).
class TextMessageWorkflowEventOutMsg : public AEventOutMsg {
 public:
  static constexpr uint16_t kMessageId = 0x0508;
  uint16_t GetId() const override { return kMessageId; }
  void WriteTo(Message& message) const override;

  MessageField<uint32_t> messageId;     // 0x8D
  MessageField<uint16_t> workflowCode;  // 0x8E: 101 on arrival, 102 when read
};

}  // namespace quorlan

#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "common/Buffer.h"
#include "quorlan/AOutgoingMessage.h"
#include "quorlan/MessageField.h"

namespace quorlan {

// The answer to a server message that could not be understood (0x05FF).
class ErrorOutMsg : public AOutgoingMessage {
 public:
  static constexpr uint16_t kMessageId = 0x05FF;
  uint16_t GetId() const override { return kMessageId; }
  void WriteTo(Message& message) const override;

  MessageField<uint32_t> errorCode;   // 1, required: 1 for a message that failed to parse
  MessageField<uint32_t> time;        // 2, required: seconds since 2000
  MessageField<std::string> release;  // 3, required: the daemon's release string
  MessageField<std::string> text;     // 4, optional: the failure's text
  MessageField<common::Buffer> data;  // 5, optional: the faulty message as received
};

// Sent at the first configuration of a new session of the unit (0x0580).
class NewVelarnConnectedOutMsg : public AOutgoingMessage {
 public:
  static constexpr uint16_t kMessageId = 0x0580;
  uint16_t GetId() const override { return kMessageId; }
  void WriteTo(Message& message) const override;

  MessageField<uint32_t> time;                         // 1, seconds since 2000
  MessageField<std::vector<uint32_t>> orderIds;        // 2, list of integers; empty is valid
  MessageField<std::vector<uint32_t>> textMessageIds;  // 3, list of integers; empty is valid
  MessageField<std::string> release;                   // 4
  MessageField<uint8_t> resetMode;                     // 5
};

}  // namespace quorlan

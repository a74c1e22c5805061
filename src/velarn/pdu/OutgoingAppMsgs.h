#pragma once

#include <cstdint>
#include <string>

#include "common/Buffer.h"
#include "velarn/pdu/AppMsg.h"

// The PDUs that this device sends to the unit. Each is built with its values
// and writes its options in a fixed order; see docs/unit-pdus.md. The read
// accessors serve the unit's side of the link, which decodes them.
namespace velarn {

// 1:1, ask for the logbook data (answered by 1:2).
class AppMsg_1_1 : public AOutgoingAppMsg {
 public:
  static const unsigned short kId = 0x0101;
  unsigned short GetId() const override { return kId; }
};

// 1:3, set the logbook mode. Option 1: the mode.
class AppMsg_1_3 : public AOutgoingAppMsg {
 public:
  static const unsigned short kId = 0x0103;
  explicit AppMsg_1_3(uint8_t mode) : mode(mode) {}
  unsigned short GetId() const override { return kId; }
  void Encode(PDU& pdu) const override;

  uint8_t GetMode() const { return mode; }

 private:
  uint8_t mode;
};

// 4:2, ask for the size of the status table (answered by 4:3).
class AppMsg_4_2 : public AOutgoingAppMsg {
 public:
  static const unsigned short kId = 0x0402;
  unsigned short GetId() const override { return kId; }
};

// 4:4, ask for the rows first to last, inclusive (answered by one 4:5 each).
class AppMsg_4_4 : public AOutgoingAppMsg {
 public:
  static const unsigned short kId = 0x0404;
  AppMsg_4_4(uint8_t first, uint8_t last) : first(first), last(last) {}
  unsigned short GetId() const override { return kId; }
  void Encode(PDU& pdu) const override;

  uint8_t GetFirst() const { return first; }
  uint8_t GetLast() const { return last; }

 private:
  uint8_t first;
  uint8_t last;
};

// 4:7, a server message for the unit to forward. Option 1: the message;
// option 3: the recipient, left out when empty. Option 2 isn't used.
class AppMsg_4_7 : public AOutgoingAppMsg {
 public:
  static const unsigned short kId = 0x0407;
  AppMsg_4_7(const common::Buffer& message, const std::string& recipient);
  unsigned short GetId() const override { return kId; }
  void Encode(PDU& pdu) const override;

  const common::Buffer& GetMessage() const { return message; }
  const std::string& GetRecipient() const { return recipient; }

 private:
  common::Buffer message;
  std::string recipient;
};

// 4:B, sent first on every connection.
class AppMsg_4_B : public AOutgoingAppMsg {
 public:
  static const unsigned short kId = 0x040B;
  unsigned short GetId() const override { return kId; }
};

// 7:2, sent on every connection with the value 1.
class AppMsg_7_2 : public AOutgoingAppMsg {
 public:
  static const unsigned short kId = 0x0702;
  explicit AppMsg_7_2(uint8_t value) : value(value) {}
  unsigned short GetId() const override { return kId; }
  void Encode(PDU& pdu) const override;

  uint8_t GetValue() const { return value; }

 private:
  uint8_t value;
};

// 8:1, read a parameter of the unit (answered by 8:2). Option 1: the name.
class AppMsg_8_1 : public AOutgoingAppMsg {
 public:
  static const unsigned short kId = 0x0801;
  explicit AppMsg_8_1(const std::string& name) : name(name) {}
  unsigned short GetId() const override { return kId; }
  void Encode(PDU& pdu) const override;

  const std::string& GetName() const { return name; }

 private:
  std::string name;
};

// 8:3, the answer to 8:4. Option 1: the name; option 2: the value, left out
// for a parameter that this side doesn't know.
class AppMsg_8_3 : public AOutgoingAppMsg {
 public:
  static const unsigned short kId = 0x0803;
  // A parameter that isn't known here.
  explicit AppMsg_8_3(const std::string& name);
  AppMsg_8_3(const std::string& name, const common::Buffer& value);
  unsigned short GetId() const override { return kId; }
  void Encode(PDU& pdu) const override;

  const std::string& GetName() const { return name; }
  bool IsFound() const { return found; }
  const common::Buffer& GetValue() const { return value; }

 private:
  std::string name;
  bool found;
  common::Buffer value;
};

// 8:5, a parameter of this side changed. Option 1: the name.
class AppMsg_8_5 : public AOutgoingAppMsg {
 public:
  static const unsigned short kId = 0x0805;
  explicit AppMsg_8_5(const std::string& name) : name(name) {}
  unsigned short GetId() const override { return kId; }
  void Encode(PDU& pdu) const override;

  const std::string& GetName() const { return name; }

 private:
  std::string name;
};

}  // namespace velarn

#pragma once

#include <cstdint>
#include <string>

#include "common/Buffer.h"
#include "velarn/pdu/AppMsg.h"
#include "velarn/pdu/GPSFix.h"
#include "velarn/pdu/LogbookData.h"

// The PDUs that the unit sends to this device. Each is made empty by its
// factory in the registry, with the field values noted below, and filled by
// Decode; see docs/unit-pdus.md for the options of each.
namespace velarn {

// 1:2, the logbook data. Option 1 (the mode) is required.
class AppMsg_1_2 : public AIncomingAppMsg {
 public:
  static const unsigned short kId = 0x0102;
  unsigned short GetId() const override { return kId; }
  void Decode(const PDU& pdu) override;
  void Dispatch(IIncomingAppMsgHandler& handler) override;

  const LogbookData& GetLogbook() const { return logbook; }

 private:
  LogbookData logbook;
};

// 4:3, the size of the status table. A row count of 0xFF counts as missing,
// so a table has at most 254 rows.
class AppMsg_4_3 : public AIncomingAppMsg {
 public:
  static const unsigned short kId = 0x0403;
  unsigned short GetId() const override { return kId; }
  void Decode(const PDU& pdu) override;
  void Dispatch(IIncomingAppMsgHandler& handler) override;

  uint8_t GetRowCount() const { return rowCount; }
  bool GetFlag() const { return flag; }

 private:
  uint8_t rowCount = 0xFF;
  bool flag = true;
};

// 4:5, one row of the status table. Index 0xFF or key 0xFFFF count as missing.
class AppMsg_4_5 : public AIncomingAppMsg {
 public:
  static const unsigned short kId = 0x0405;
  unsigned short GetId() const override { return kId; }
  void Decode(const PDU& pdu) override;
  void Dispatch(IIncomingAppMsgHandler& handler) override;

  uint8_t GetIndex() const { return index; }
  uint16_t GetKey() const { return key; }
  const std::string& GetText() const { return text; }

 private:
  uint8_t index = 0xFF;
  uint16_t key = 0xFFFF;
  std::string text;
};

// 4:6, the status table changed. No options.
class AppMsg_4_6 : public AIncomingAppMsg {
 public:
  static const unsigned short kId = 0x0406;
  unsigned short GetId() const override { return kId; }
  void Decode(const PDU& pdu) override;
  void Dispatch(IIncomingAppMsgHandler& handler) override;
};

// 4:8, a server message from the unit. Option 1 (the message) is required.
class AppMsg_4_8 : public AIncomingAppMsg {
 public:
  static const unsigned short kId = 0x0408;
  AppMsg_4_8() : message(1024, 200) {}
  unsigned short GetId() const override { return kId; }
  void Decode(const PDU& pdu) override;
  void Dispatch(IIncomingAppMsgHandler& handler) override;

  const common::Buffer& GetMessage() const { return message; }
  bool IsValid() const { return valid; }

 private:
  common::Buffer message;
  bool valid = false;
};

// 4:A, the network registration changed. Both values are ASCII digits, '4'
// until decoded; nothing is required.
class AppMsg_4_A : public AIncomingAppMsg {
 public:
  static const unsigned short kId = 0x040A;
  unsigned short GetId() const override { return kId; }
  void Decode(const PDU& pdu) override;
  void Dispatch(IIncomingAppMsgHandler& handler) override;

  uint32_t GetStatus() const { return status; }
  uint32_t GetExtra() const { return extra; }

 private:
  uint32_t status = '4';
  uint32_t extra = '4';
};

// 7:1, a GPS fix with, in option 10, the extended fix. Nothing is required; a
// block of option 10 that is too short or announces more than 32 satellites
// is skipped and leaves the extended fix as it was.
class AppMsg_7_1 : public AIncomingAppMsg {
 public:
  static const unsigned short kId = 0x0701;
  unsigned short GetId() const override { return kId; }
  void Decode(const PDU& pdu) override;
  void Dispatch(IIncomingAppMsgHandler& handler) override;

  const GPSFix& GetFix() const { return fix; }
  const GPSFixEx& GetFixEx() const { return fixEx; }

 private:
  GPSFix fix;
  GPSFixEx fixEx;
};

// 8:2, the value of a parameter of the unit. Option 1 (the name) is required;
// without option 2 the unit doesn't know the parameter.
class AppMsg_8_2 : public AIncomingAppMsg {
 public:
  static const unsigned short kId = 0x0802;
  AppMsg_8_2() : value(32, 200) {}
  unsigned short GetId() const override { return kId; }
  void Decode(const PDU& pdu) override;
  void Dispatch(IIncomingAppMsgHandler& handler) override;

  const std::string& GetName() const { return name; }
  bool IsFound() const { return found; }
  const common::Buffer& GetValue() const { return value; }

 private:
  std::string name;
  bool found = false;
  common::Buffer value;
};

// 8:4, the unit reads a parameter of this side. Option 1 (the name) is required.
class AppMsg_8_4 : public AIncomingAppMsg {
 public:
  static const unsigned short kId = 0x0804;
  unsigned short GetId() const override { return kId; }
  void Decode(const PDU& pdu) override;
  void Dispatch(IIncomingAppMsgHandler& handler) override;

  const std::string& GetName() const { return name; }

 private:
  std::string name;
};

// 8:6, a parameter of the unit changed. Option 1 (the name) is required.
class AppMsg_8_6 : public AIncomingAppMsg {
 public:
  static const unsigned short kId = 0x0806;
  unsigned short GetId() const override { return kId; }
  void Decode(const PDU& pdu) override;
  void Dispatch(IIncomingAppMsgHandler& handler) override;

  const std::string& GetName() const { return name; }

 private:
  std::string name;
};

}  // namespace velarn

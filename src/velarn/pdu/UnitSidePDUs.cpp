#include "velarn/pdu/UnitSidePDUs.h"

#include <limits>
#include <memory>

#include "common/Buffer.h"
#include "common/Exceptions.h"
#include "velarn/pdu/IncomingAppMsgs.h"
#include "velarn/pdu/OptionValues.h"
#include "velarn/pdu/OutgoingAppMsgs.h"
#include "velarn/pdu/PDUWriter.h"

namespace velarn {

namespace {

void PutU16(unsigned char* at, uint16_t value) {
  at[0] = static_cast<unsigned char>(value);
  at[1] = static_cast<unsigned char>(value >> 8);
}

void PutU32(unsigned char* at, uint32_t value) {
  for (int i = 0; i < 4; ++i) {
    at[i] = static_cast<unsigned char>(value >> (8 * i));
  }
}

// The decoder divides these by 10; a value that can't be multiplied back
// within its wire field goes out as it is.
int32_t TimesTen(int32_t value) {
  const int64_t scaled = static_cast<int64_t>(value) * 10;
  return scaled > std::numeric_limits<int32_t>::max() || scaled < std::numeric_limits<int32_t>::min()
             ? value
             : static_cast<int32_t>(scaled);
}

uint16_t TimesTen(uint16_t value) {
  const unsigned scaled = static_cast<unsigned>(value) * 10;
  return scaled > 0xFFFF ? value : static_cast<uint16_t>(scaled);
}

std::vector<unsigned char> FixExBlock(const GPSFixEx& fixEx) {
  const unsigned count = fixEx.satelliteCount <= GPSFixEx::kMaxSatellites ? fixEx.satelliteCount : 0;
  std::vector<unsigned char> block(0x38 + 6 * count, 0);
  unsigned char* b = block.data();
  b[0x00] = fixEx.status;
  b[0x01] = fixEx.opaque1;
  b[0x02] = fixEx.opaque2;
  b[0x03] = fixEx.opaque3;
  PutU32(b + 0x04, static_cast<uint32_t>(TimesTen(fixEx.latitude)));
  PutU32(b + 0x08, static_cast<uint32_t>(TimesTen(fixEx.longitude)));
  PutU32(b + 0x0C, fixEx.time);
  PutU16(b + 0x10, fixEx.speed);
  PutU16(b + 0x12, fixEx.course);
  PutU16(b + 0x14, TimesTen(fixEx.hdop));
  PutU16(b + 0x16, fixEx.magneticVariation);
  b[0x18] = fixEx.magneticVariationDirection;
  b[0x19] = fixEx.opaque4;
  PutU16(b + 0x1A, fixEx.opaque5);
  PutU32(b + 0x1C, static_cast<uint32_t>(fixEx.opaque6));
  PutU32(b + 0x20, static_cast<uint32_t>(fixEx.opaque7));
  PutU32(b + 0x24, static_cast<uint32_t>(fixEx.satelliteMask));
  PutU32(b + 0x28, static_cast<uint32_t>(fixEx.satelliteMask >> 32));
  PutU16(b + 0x2C, TimesTen(fixEx.pdop));
  PutU16(b + 0x2E, TimesTen(fixEx.vdop));
  PutU16(b + 0x30, fixEx.opaque8);
  b[0x32] = fixEx.fixType;
  b[0x34] = static_cast<unsigned char>(fixEx.opaque9);
  b[0x36] = fixEx.fixMode;
  b[0x37] = static_cast<unsigned char>(count);
  for (unsigned i = 0; i < count; ++i) {
    unsigned char* entry = b + 0x38 + 6 * i;
    const SatelliteInfo& satellite = fixEx.satellites[i];
    entry[0] = satellite.number;
    entry[1] = satellite.signal;
    PutU16(entry + 2, static_cast<uint16_t>(satellite.elevation));
    PutU16(entry + 4, satellite.azimuth);
  }
  return block;
}

[[noreturn]] void Missing(const char* text) { throw ParseException(text); }

}  // namespace

void WriteLogbookData(const LogbookData& logbook, common::Buffer& out) {
  PDUWriter(AppMsg_1_2::kId)
      .Byte(1, static_cast<uint8_t>(logbook.mode))
      .Byte(2, logbook.tripValid ? 0 : 1)
      .U32(3, logbook.odometer)
      .U32(4, logbook.tripOdometer)
      .U32(5, logbook.tripStarted)
      .U32(6, logbook.tripDuration)
      .U32(7, logbook.tripDistance)
      .U16(8, static_cast<uint16_t>(logbook.reserved1))
      .U32(9, logbook.reserved2)
      .U32(10, logbook.reserved3)
      .Write(out);
}

void WriteStatusTableSize(uint8_t rowCount, bool flag, common::Buffer& out) {
  PDUWriter(AppMsg_4_3::kId).Byte(1, rowCount).Byte(2, flag ? 1 : 0).Write(out);
}

void WriteStatusTableRow(uint8_t index, const StatusTableRow& row, common::Buffer& out) {
  PDUWriter(AppMsg_4_5::kId).Byte(1, index).U16(2, row.key).Text(3, row.text).Write(out);
}

void WriteStatusTableChanged(common::Buffer& out) { PDUWriter(AppMsg_4_6::kId).Write(out); }

void WriteServerMessage(const common::Buffer& message, bool valid, common::Buffer& out) {
  PDUWriter(AppMsg_4_8::kId).Blob(1, message).Byte(3, valid ? 1 : 0).Write(out);
}

void WriteNetworkRegistration(uint8_t status, uint8_t extra, common::Buffer& out) {
  PDUWriter(AppMsg_4_A::kId).Byte(1, status).Byte(2, extra).Write(out);
}

void WriteGPSFix(const GPSFix& fix, const GPSFixEx* fixEx, common::Buffer& out) {
  const GPSFix empty;
  PDUWriter writer(AppMsg_7_1::kId);
  if (fix.status != empty.status) writer.Byte(1, fix.status);
  if (fix.latitude != empty.latitude) writer.U32(2, static_cast<uint32_t>(fix.latitude));
  if (fix.longitude != empty.longitude) writer.U32(3, static_cast<uint32_t>(fix.longitude));
  if (fix.time != empty.time) writer.U32(4, fix.time);
  if (fix.satellites != empty.satellites) writer.Byte(5, fix.satellites);
  if (fix.speed != empty.speed) writer.U16(6, TimesTen(fix.speed));
  if (fix.course != empty.course) writer.U16(7, TimesTen(fix.course));
  if (fix.reserved != empty.reserved) writer.U16(8, fix.reserved);
  if (fix.tripValue != empty.tripValue) writer.U32(9, fix.tripValue);
  if (fixEx != nullptr) {
    const std::vector<unsigned char> block = FixExBlock(*fixEx);
    writer.Bytes(10, block.data(), static_cast<unsigned>(block.size()));
  }
  writer.Write(out);
}

void WriteParamValue(const std::string& name, const common::Buffer* value, common::Buffer& out) {
  PDUWriter writer(AppMsg_8_2::kId);
  writer.Text(1, name);
  if (value != nullptr) {
    writer.Blob(2, *value);
  }
  writer.Write(out);
}

void WriteParamRead(const std::string& name, common::Buffer& out) {
  PDUWriter(AppMsg_8_4::kId).Text(1, name).Write(out);
}

void WriteParamChanged(const std::string& name, common::Buffer& out) {
  PDUWriter(AppMsg_8_6::kId).Text(1, name).Write(out);
}

AOutgoingAppMsg* DecodeOutgoingAppMsg(const common::Buffer& buffer) {
  PDU pdu(0);
  pdu.Parse(buffer);

  // The last occurrence of each option, as the daemon's decoders read them.
  const PDU::Parameter* options[256] = {};
  for (const PDU::Parameter& parameter : pdu.parameters) {
    options[parameter.id] = &parameter;
  }
  const auto byteOf = [&](uint8_t id, const char* missing) {
    if (options[id] == nullptr) Missing(missing);
    return OptionByte(*options[id]);
  };
  const auto textOf = [&](uint8_t id, const char* missing) {
    if (options[id] == nullptr) Missing(missing);
    return OptionText(*options[id]);
  };
  const auto blobOf = [&](const PDU::Parameter& parameter) {
    common::Buffer blob(parameter.size, 200);
    blob.Append(parameter.data, parameter.size);
    return blob;
  };

  switch (pdu.id) {
    case AppMsg_1_1::kId:
      return new AppMsg_1_1();
    case AppMsg_1_3::kId:
      return new AppMsg_1_3(byteOf(1, "missing option 1 in pdu 1:3"));
    case AppMsg_4_2::kId:
      return new AppMsg_4_2();
    case AppMsg_4_4::kId: {
      const uint8_t first = byteOf(1, "missing option 1 or 2 in pdu 4:4");
      return new AppMsg_4_4(first, byteOf(2, "missing option 1 or 2 in pdu 4:4"));
    }
    case AppMsg_4_7::kId: {
      if (options[1] == nullptr) Missing("missing option 1 in pdu 4:7");
      return new AppMsg_4_7(blobOf(*options[1]), options[3] != nullptr ? OptionText(*options[3]) : "");
    }
    case AppMsg_4_B::kId:
      return new AppMsg_4_B();
    case AppMsg_7_2::kId:
      return new AppMsg_7_2(byteOf(1, "missing option 1 in pdu 7:2"));
    case AppMsg_8_1::kId:
      return new AppMsg_8_1(textOf(1, "missing option 1 in pdu 8:1"));
    case AppMsg_8_3::kId: {
      const std::string name = textOf(1, "missing option 1 in pdu 8:3");
      if (options[2] == nullptr) {
        return new AppMsg_8_3(name);
      }
      return new AppMsg_8_3(name, blobOf(*options[2]));
    }
    case AppMsg_8_5::kId:
      return new AppMsg_8_5(textOf(1, "missing option 1 in pdu 8:5"));
    default:
      throw ParseException("can't find a factory");
  }
}

}  // namespace velarn

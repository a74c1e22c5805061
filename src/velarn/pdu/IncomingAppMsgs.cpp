#include "velarn/pdu/IncomingAppMsgs.h"

#include "common/Exceptions.h"
#include "velarn/pdu/IIncomingAppMsgHandler.h"
#include "velarn/pdu/OptionValues.h"

namespace velarn {

namespace {

// The block of option 10 of 7:1: a fixed part of 0x38 bytes, then one entry of
// 6 bytes per satellite in view.
constexpr unsigned kFixExFixedSize = 0x38;
constexpr unsigned kSatelliteEntrySize = 6;

// Fills fixEx from a well-formed block and returns true; returns false, and
// leaves fixEx alone, for a block that is too short for its satellite count or
// announces more satellites than there is room for.
bool ReadFixExBlock(const PDU::Parameter& parameter, GPSFixEx& fixEx) {
  const unsigned char* b = parameter.data;
  if (parameter.size < kFixExFixedSize) {
    return false;
  }
  const unsigned count = b[0x37];
  if (count > GPSFixEx::kMaxSatellites || parameter.size < kFixExFixedSize + kSatelliteEntrySize * count) {
    return false;
  }
  // A whole new block: satellites past the count stay at their empty values.
  GPSFixEx block;
  block.status = b[0x00];
  block.opaque1 = b[0x01];
  block.opaque2 = b[0x02];
  block.opaque3 = b[0x03];
  block.latitude = static_cast<int32_t>(LoadU32(b + 0x04)) / 10;
  block.longitude = static_cast<int32_t>(LoadU32(b + 0x08)) / 10;
  block.time = LoadU32(b + 0x0C);
  block.speed = LoadU16(b + 0x10);
  block.course = LoadU16(b + 0x12);
  block.hdop = LoadU16(b + 0x14) / 10;
  block.magneticVariation = LoadU16(b + 0x16);
  block.magneticVariationDirection = b[0x18];
  block.opaque4 = b[0x19];
  block.opaque5 = LoadU16(b + 0x1A);
  block.opaque6 = static_cast<int32_t>(LoadU32(b + 0x1C));
  block.opaque7 = static_cast<int32_t>(LoadU32(b + 0x20));
  block.satelliteMask = static_cast<uint64_t>(LoadU32(b + 0x24)) | static_cast<uint64_t>(LoadU32(b + 0x28))
                                                                       << 32;
  block.pdop = LoadU16(b + 0x2C) / 10;
  block.vdop = LoadU16(b + 0x2E) / 10;
  block.opaque8 = LoadU16(b + 0x30);
  block.fixType = b[0x32];
  // Bytes 0x33 and 0x35 aren't read.
  block.opaque9 = b[0x34];
  block.fixMode = b[0x36];
  block.satelliteCount = static_cast<uint8_t>(count);
  for (unsigned i = 0; i < count; ++i) {
    const unsigned char* entry = b + kFixExFixedSize + kSatelliteEntrySize * i;
    SatelliteInfo& satellite = block.satellites[i];
    satellite.number = entry[0];
    satellite.signal = entry[1];
    satellite.elevation = static_cast<int16_t>(LoadU16(entry + 2));
    satellite.azimuth = LoadU16(entry + 4);
  }
  fixEx = block;
  return true;
}

}  // namespace

void AppMsg_1_2::Decode(const PDU& pdu) {
  bool haveMode = false;
  for (const PDU::Parameter& parameter : pdu.parameters) {
    switch (parameter.id) {
      case 1:
        logbook.mode = OptionByte(parameter);
        haveMode = true;
        break;
      case 2:
        // The unit sends 0 for a valid trip.
        logbook.tripValid = OptionByte(parameter) == 0;
        break;
      case 3:
        logbook.odometer = OptionU32(parameter);
        break;
      case 4:
        logbook.tripOdometer = OptionU32(parameter);
        break;
      case 5:
        logbook.tripStarted = OptionU32(parameter);
        break;
      case 6:
        logbook.tripDuration = OptionU32(parameter);
        break;
      case 7:
        logbook.tripDistance = OptionU32(parameter);
        break;
      case 8:
        logbook.reserved1 = OptionU16(parameter);
        break;
      case 9:
        logbook.reserved2 = OptionU32(parameter);
        break;
      case 10:
        logbook.reserved3 = OptionU32(parameter);
        break;
      default:
        break;
    }
  }
  if (!haveMode) {
    // A long-standing text: it names option 2, but the mode (option 1) is
    // what is missing here.
    throw ParseException("missing option 2 in pdu 1:2");
  }
}

void AppMsg_1_2::Dispatch(IIncomingAppMsgHandler& handler) { handler.Handle(*this); }

void AppMsg_4_3::Decode(const PDU& pdu) {
  for (const PDU::Parameter& parameter : pdu.parameters) {
    if (parameter.id == 1) {
      rowCount = OptionByte(parameter);
    } else if (parameter.id == 2) {
      flag = OptionByte(parameter) == 1;
    }
  }
  if (rowCount == 0xFF) {
    throw ParseException("missing option 1 in pdu 4:3");
  }
}

void AppMsg_4_3::Dispatch(IIncomingAppMsgHandler& handler) { handler.Handle(*this); }

void AppMsg_4_5::Decode(const PDU& pdu) {
  for (const PDU::Parameter& parameter : pdu.parameters) {
    if (parameter.id == 1) {
      index = OptionByte(parameter);
    } else if (parameter.id == 2) {
      key = OptionU16(parameter);
    } else if (parameter.id == 3) {
      text = OptionText(parameter);
    }
  }
  if (index == 0xFF || key == 0xFFFF) {
    throw ParseException("missing option 1 or 2 in pdu 4:5");
  }
}

void AppMsg_4_5::Dispatch(IIncomingAppMsgHandler& handler) { handler.Handle(*this); }

void AppMsg_4_6::Decode(const PDU&) {}

void AppMsg_4_6::Dispatch(IIncomingAppMsgHandler& handler) { handler.Handle(*this); }

void AppMsg_4_8::Decode(const PDU& pdu) {
  bool haveMessage = false;
  for (const PDU::Parameter& parameter : pdu.parameters) {
    if (parameter.id == 1) {
      message.Clear();
      message.Append(parameter.data, parameter.size);
      haveMessage = true;
    } else if (parameter.id == 3) {
      valid = OptionByte(parameter) == 1;
    }
  }
  if (!haveMessage) {
    throw ParseException("missing option 1 in pdu 4:8");
  }
}

void AppMsg_4_8::Dispatch(IIncomingAppMsgHandler& handler) { handler.Handle(*this); }

void AppMsg_4_A::Decode(const PDU& pdu) {
  for (const PDU::Parameter& parameter : pdu.parameters) {
    if (parameter.id == 1) {
      status = OptionByte(parameter);
    } else if (parameter.id == 2) {
      extra = OptionByte(parameter);
    }
  }
}

void AppMsg_4_A::Dispatch(IIncomingAppMsgHandler& handler) { handler.Handle(*this); }

void AppMsg_7_1::Decode(const PDU& pdu) {
  for (const PDU::Parameter& parameter : pdu.parameters) {
    switch (parameter.id) {
      case 1:
        fix.status = OptionByte(parameter);
        break;
      case 2:
        fix.latitude = static_cast<int32_t>(OptionU32(parameter));
        break;
      case 3:
        fix.longitude = static_cast<int32_t>(OptionU32(parameter));
        break;
      case 4:
        fix.time = OptionU32(parameter);
        break;
      case 5:
        fix.satellites = OptionByte(parameter);
        break;
      case 6:
        fix.speed = OptionU16(parameter) / 10;
        break;
      case 7:
        fix.course = OptionU16(parameter) / 10;
        break;
      case 8:
        fix.reserved = OptionU16(parameter);
        break;
      case 9:
        fix.tripValue = OptionU32(parameter);
        break;
      case 10:
        // A malformed block is no reason to lose the fix itself.
        ReadFixExBlock(parameter, fixEx);
        break;
      default:
        break;
    }
  }
}

void AppMsg_7_1::Dispatch(IIncomingAppMsgHandler& handler) { handler.Handle(*this); }

void AppMsg_8_2::Decode(const PDU& pdu) {
  bool haveName = false;
  for (const PDU::Parameter& parameter : pdu.parameters) {
    if (parameter.id == 1) {
      name = OptionText(parameter);
      haveName = true;
    } else if (parameter.id == 2) {
      value.Clear();
      value.Append(parameter.data, parameter.size);
      found = true;
    }
  }
  if (!haveName) {
    throw ParseException("missing option 1 in pdu 8:2");
  }
}

void AppMsg_8_2::Dispatch(IIncomingAppMsgHandler& handler) { handler.Handle(*this); }

void AppMsg_8_4::Decode(const PDU& pdu) {
  bool haveName = false;
  for (const PDU::Parameter& parameter : pdu.parameters) {
    if (parameter.id == 1) {
      name = OptionText(parameter);
      haveName = true;
    }
  }
  if (!haveName) {
    throw ParseException("missing option 1 or 2 in pdu 8:4");
  }
}

void AppMsg_8_4::Dispatch(IIncomingAppMsgHandler& handler) { handler.Handle(*this); }

void AppMsg_8_6::Decode(const PDU& pdu) {
  bool haveName = false;
  for (const PDU::Parameter& parameter : pdu.parameters) {
    if (parameter.id == 1) {
      name = OptionText(parameter);
      haveName = true;
    }
  }
  if (!haveName) {
    throw ParseException("missing option 1 or 2 in pdu 8:6");
  }
}

void AppMsg_8_6::Dispatch(IIncomingAppMsgHandler& handler) { handler.Handle(*this); }

}  // namespace velarn

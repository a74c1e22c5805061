#pragma once

#include <cstdint>
#include <string>

#include "velarn/pdu/PDU.h"

namespace velarn {

// Reading option values. Multi-byte values are little-endian. The fixed-size
// readers throw ParseException("size of parameter doesn't match to the size of
// the expected type") when the option has any other length.
uint8_t OptionByte(const PDU::Parameter& parameter);
uint16_t OptionU16(const PDU::Parameter& parameter);
uint32_t OptionU32(const PDU::Parameter& parameter);
std::string OptionText(const PDU::Parameter& parameter);

// Little-endian loads from raw bytes, for blocks inside an option.
inline uint16_t LoadU16(const unsigned char* bytes) {
  return static_cast<uint16_t>(bytes[0] | bytes[1] << 8);
}
inline uint32_t LoadU32(const unsigned char* bytes) {
  return static_cast<uint32_t>(bytes[0]) | static_cast<uint32_t>(bytes[1]) << 8 |
         static_cast<uint32_t>(bytes[2]) << 16 | static_cast<uint32_t>(bytes[3]) << 24;
}

}  // namespace velarn

#include "velarn/pdu/OptionValues.h"

#include "common/Exceptions.h"

namespace velarn {

namespace {

void ExpectSize(const PDU::Parameter& parameter, uint32_t size) {
  if (parameter.size != size) {
    throw ParseException("size of parameter doesn't match to the size of the expected type");
  }
}

}  // namespace

uint8_t OptionByte(const PDU::Parameter& parameter) {
  ExpectSize(parameter, 1);
  return parameter.data[0];
}

uint16_t OptionU16(const PDU::Parameter& parameter) {
  ExpectSize(parameter, 2);
  return LoadU16(parameter.data);
}

uint32_t OptionU32(const PDU::Parameter& parameter) {
  ExpectSize(parameter, 4);
  return LoadU32(parameter.data);
}

std::string OptionText(const PDU::Parameter& parameter) {
  return std::string(reinterpret_cast<const char*>(parameter.data), parameter.size);
}

}  // namespace velarn

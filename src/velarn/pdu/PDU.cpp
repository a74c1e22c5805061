#include "velarn/pdu/PDU.h"

#include <ostream>
#include <sstream>

#include "common/Buffer.h"
#include "common/Exceptions.h"

namespace velarn {

namespace {

// Size of an option's header: number and 16-bit length.
constexpr unsigned kOptionHeader = 3;

unsigned OptionLength(const common::Buffer& buffer, unsigned index) {
  return static_cast<unsigned>(buffer[index + 1]) | static_cast<unsigned>(buffer[index + 2]) << 8;
}

}  // namespace

void PDU::Parse(const common::Buffer& buffer) {
  const unsigned size = buffer.GetSize();
  if (size < 2) {
    throw ParseException("invalid pdu");
  }
  // First walk: only check that the options tile the buffer exactly, so that a
  // bad PDU leaves this object as it was and the second walk can't run past
  // the end.
  uint64_t index = 2;
  while (index < size) {
    if (size - index < kOptionHeader) {
      throw ParseException("invalid pdu");
    }
    index += kOptionHeader + OptionLength(buffer, static_cast<unsigned>(index));
  }
  if (index != size) {
    throw ParseException("invalid pdu");
  }

  id = static_cast<unsigned short>(buffer[0] << 8 | buffer[1]);
  parameters.clear();
  for (unsigned at = 2; at < size;) {
    Parameter parameter;
    parameter.id = buffer[at];
    parameter.size = OptionLength(buffer, at);
    parameter.data = buffer.GetData() + at + kOptionHeader;
    parameters.push_back(parameter);
    at += kOptionHeader + parameter.size;
  }
}

void PDU::Serialize(common::Buffer& buffer) const {
  for (const Parameter& parameter : parameters) {
    if (parameter.size > 0xFFFF) {
      throw SerializeException("option too long");
    }
  }
  buffer.Append(static_cast<unsigned char>(id >> 8));
  buffer.Append(static_cast<unsigned char>(id & 0xFF));
  for (const Parameter& parameter : parameters) {
    buffer.Append(parameter.id);
    buffer.Append(static_cast<unsigned char>(parameter.size & 0xFF));
    buffer.Append(static_cast<unsigned char>(parameter.size >> 8 & 0xFF));
    buffer.Append(parameter.data, parameter.size);
  }
}

std::ostream& operator<<(std::ostream& out, const PDU& pdu) {
  // Built apart and handed over in one piece, so that the numbers are decimal
  // whatever the caller's stream is set to, and its flags stay as they were.
  std::ostringstream text;
  text << "Id: " << static_cast<unsigned>(pdu.id);
  if (pdu.parameters.empty()) {
    text << "\n  <no parameters>";
  }
  for (const PDU::Parameter& parameter : pdu.parameters) {
    // The value is shown exactly as a buffer dump would show it.
    common::Buffer value(parameter.size, 100);
    value.Append(parameter.data, parameter.size);
    text << "\n- Parameter " << static_cast<unsigned>(parameter.id) << ": " << value;
  }
  return out << text.str();
}

}  // namespace velarn

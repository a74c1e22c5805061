#pragma once

#include <cstdint>
#include <iosfwd>
#include <vector>

namespace common {
class Buffer;
}

namespace velarn {

// One protocol data unit exchanged with the telematics unit: a 16-bit
// identifier (class in the high byte, type in the low byte) and a list of
// numbered options.
//
// Wire form: class byte, type byte (so the identifier is big-endian), then the
// options back to back, each an option number byte, a 16-bit little-endian
// length and that many value bytes. The options fill the payload exactly.
//
// A PDU doesn't own the option values: a parsed PDU points into the buffer it
// was parsed from, an outgoing one into the fields of the message that encoded
// itself. It is therefore only ever a short-lived local object.
class PDU {
 public:
  struct Parameter {
    uint8_t id = 0;                       // the option number
    uint32_t size = 0;                    // length of the value in bytes
    const unsigned char* data = nullptr;  // the value, not owned
  };

  explicit PDU(unsigned short id) : id(id) {}

  // Replaces id and parameters with the content of buffer. Throws
  // ParseException("invalid pdu") for fewer than 2 bytes or options that don't
  // fill the buffer exactly; the PDU is left untouched then.
  void Parse(const common::Buffer& buffer);

  // Appends the wire form. An option value of 65536 bytes or more has no
  // length on the wire; rather than writing a PDU that the unit would read
  // wrongly, it throws SerializeException("option too long") and appends
  // nothing.
  void Serialize(common::Buffer& buffer) const;

  unsigned short id;
  std::vector<Parameter> parameters;
};

// Diagnostic dump: "Id: 1028", then per option a line "- Parameter 1: 00"
// (value as colon separated hexadecimal), or "  <no parameters>".
std::ostream& operator<<(std::ostream& out, const PDU& pdu);

}  // namespace velarn

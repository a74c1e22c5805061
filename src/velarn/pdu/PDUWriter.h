#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace common {
class Buffer;
}

namespace velarn {

// Builds a PDU from loose values. Unlike PDU, it owns the option values, so
// the values given to it may go away before Write. Multi-byte values are
// written little-endian. Used by the unit's side of the link and by tests.
class PDUWriter {
 public:
  explicit PDUWriter(unsigned short id) : id(id) {}

  PDUWriter& Byte(uint8_t option, uint8_t value);
  PDUWriter& U16(uint8_t option, uint16_t value);
  PDUWriter& U32(uint8_t option, uint32_t value);
  PDUWriter& Bytes(uint8_t option, const void* data, unsigned size);
  PDUWriter& Text(uint8_t option, const std::string& text);
  PDUWriter& Blob(uint8_t option, const common::Buffer& blob);

  // Empties buffer, then leaves the wire form in it. Throws
  // SerializeException("option too long") for a value of 65536 bytes or more.
  void Write(common::Buffer& buffer) const;

 private:
  unsigned short id;
  std::vector<std::pair<uint8_t, std::vector<unsigned char>>> options;
};

}  // namespace velarn

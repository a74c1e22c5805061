#include "quorlan/NodeWire.h"

#include "common/Buffer.h"

namespace quorlan {
namespace wire {

unsigned ReadBlock(const common::Buffer& buffer, unsigned index, const unsigned char*& bytes,
                   unsigned& available) {
  const unsigned length = (buffer[index] & 0x3Fu) << 8 | buffer[index + 1];
  const unsigned start = index + 2;  // at most the size: the byte before it was read
  const unsigned left = buffer.GetSize() - start;
  available = length < left ? length : left;
  bytes = buffer.GetData() + start;
  return start + length;
}

void WriteBlockHeader(common::Buffer& buffer, uint8_t family, unsigned length) {
  buffer.Append(static_cast<unsigned char>(family | length >> 8));
  buffer.Append(static_cast<unsigned char>(length & 0xFF));
}

unsigned ReadCount(const common::Buffer& buffer, unsigned index, unsigned& count) {
  const uint8_t tag = buffer[index];
  if ((tag & 0x08) == 0) {
    count = tag & 0x07u;
    return index + 1;
  }
  count = (tag & 0x07u) << 8 | buffer[index + 1];
  return index + 2;
}

void WriteCount(common::Buffer& buffer, uint8_t family, unsigned count) {
  if (count < 8) {
    buffer.Append(static_cast<unsigned char>(family | count));
    return;
  }
  buffer.Append(static_cast<unsigned char>(family | 0x08 | count >> 8));
  buffer.Append(static_cast<unsigned char>(count & 0xFF));
}

}  // namespace wire
}  // namespace quorlan

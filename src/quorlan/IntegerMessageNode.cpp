#include "quorlan/IntegerMessageNode.h"

#include "common/Buffer.h"
#include "common/Exceptions.h"
#include "quorlan/IMessageNodeVisitor.h"

namespace quorlan {

void IntegerMessageNode::Accept(IMessageNodeVisitor& visitor) const { visitor.Visit(*this); }

unsigned IntegerMessageNode::Parse(const common::Buffer& buffer, unsigned index) {
  const uint8_t tag = buffer[index++];
  unsigned width = 0;
  switch (tag & 0x0E) {
    case 2:
      width = 1;
      break;
    case 4:
      width = 2;
      break;
    case 6:
      width = 4;
      break;
    case 8:
      width = 8;
      break;
    default:
      throw ParseException("integer-node has invalid length");
  }
  uint64_t magnitude = 0;
  for (unsigned i = 0; i < width; ++i) {
    magnitude = magnitude << 8 | buffer[index++];
  }
  // Unsigned arithmetic, so that a magnitude of 2^63 or more wraps instead of
  // overflowing.
  value = static_cast<int64_t>((tag & 0x01) != 0 ? 0 - magnitude : magnitude);
  return index;
}

void IntegerMessageNode::Serialize(common::Buffer& buffer) const {
  const bool negative = value < 0;
  const uint64_t magnitude = negative ? 0 - static_cast<uint64_t>(value) : static_cast<uint64_t>(value);
  unsigned step = 0;
  if (magnitude > 0xFFFFFFFFull) {
    step = 3;
  } else if (magnitude > 0xFFFFu) {
    step = 2;
  } else if (magnitude > 0xFFu) {
    step = 1;
  }
  buffer.Append(static_cast<unsigned char>(0xC2 + 2 * step + (negative ? 1 : 0)));
  for (int shift = (8 << step) - 8; shift >= 0; shift -= 8) {
    buffer.Append(static_cast<unsigned char>(magnitude >> shift));
  }
}

}  // namespace quorlan

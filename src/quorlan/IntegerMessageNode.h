#pragma once

#include <cstdint>

#include "quorlan/AMessageNode.h"

namespace quorlan {

// A signed 64-bit integer, written as sign and magnitude in the shortest of
// four widths: tag 0xC2 + 2 * step (+1 if negative), then 1, 2, 4 or 8 bytes
// of magnitude, high byte first. Zero is C2 00; there is no 3-byte form.
class IntegerMessageNode : public AMessageNode {
 public:
  explicit IntegerMessageNode(int64_t value = 0) : value(value) {}

  int64_t GetValue() const { return value; }
  void SetValue(int64_t newValue) { value = newValue; }

  void Accept(IMessageNodeVisitor& visitor) const override;
  // Accepts any width, also one wider than needed (C4 00 07 is 7). A width
  // selector (tag & 0x0E) other than 2, 4, 6, 8 fails with ParseException
  // "integer-node has invalid length". A magnitude beyond 63 bits wraps.
  unsigned Parse(const common::Buffer& buffer, unsigned index) override;
  void Serialize(common::Buffer& buffer) const override;

 private:
  int64_t value;
};

}  // namespace quorlan

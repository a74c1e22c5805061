#pragma once

#include "common/Buffer.h"
#include "quorlan/AMessageNode.h"

namespace quorlan {

// Raw bytes: tag 0x80 | high 6 bits of the length, the low 8 bits, the
// bytes. At most 16,383 bytes; more fails on writing with SerializeException
// "to long byte array".
class ByteArrayMessageNode : public AMessageNode {
 public:
  // An empty value with that capacity and a growth of 200 percent.
  explicit ByteArrayMessageNode(unsigned capacity) : value(capacity, 200) {}
  explicit ByteArrayMessageNode(const common::Buffer& value) : value(value) {}

  const common::Buffer& GetValue() const { return value; }
  void SetValue(const common::Buffer& newValue) { value = newValue; }

  void Accept(IMessageNodeVisitor& visitor) const override;
  unsigned Parse(const common::Buffer& buffer, unsigned index) override;
  void Serialize(common::Buffer& buffer) const override;

 private:
  common::Buffer value;
};

}  // namespace quorlan

#pragma once

#include <string>

#include "quorlan/AMessageNode.h"

namespace quorlan {

// A byte string, taken as it comes (no transcoding at this level): tag
// 0x40 | high 6 bits of the length, the low 8 bits, the bytes without a
// terminator. At most 16,383 bytes; more fails on writing with
// SerializeException "to long string".
class StringMessageNode : public AMessageNode {
 public:
  explicit StringMessageNode(const std::string& value = std::string()) : value(value) {}

  const std::string& GetValue() const { return value; }
  void SetValue(const std::string& newValue) { value = newValue; }

  void Accept(IMessageNodeVisitor& visitor) const override;
  unsigned Parse(const common::Buffer& buffer, unsigned index) override;
  void Serialize(common::Buffer& buffer) const override;

 private:
  std::string value;
};

}  // namespace quorlan

#pragma once

#include "quorlan/AMessageNode.h"

namespace quorlan {

// A truth value: tag 0xC0 is false, 0xC1 true, nothing follows.
class BoolMessageNode : public AMessageNode {
 public:
  explicit BoolMessageNode(bool value = false) : value(value) {}

  bool GetValue() const { return value; }
  void SetValue(bool newValue) { value = newValue; }

  void Accept(IMessageNodeVisitor& visitor) const override;
  unsigned Parse(const common::Buffer& buffer, unsigned index) override;
  void Serialize(common::Buffer& buffer) const override;

 private:
  bool value;
};

}  // namespace quorlan

#pragma once

#include "quorlan/AMessageNode.h"

namespace quorlan {

// No value. Any tag from 0x00 to 0x0F reads as null; it is written as 0x00.
class NullMessageNode : public AMessageNode {
 public:
  void Accept(IMessageNodeVisitor& visitor) const override;
  unsigned Parse(const common::Buffer& buffer, unsigned index) override;
  void Serialize(common::Buffer& buffer) const override;
};

}  // namespace quorlan

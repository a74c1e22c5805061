#include "quorlan/BoolMessageNode.h"

#include "common/Buffer.h"
#include "quorlan/IMessageNodeVisitor.h"

namespace quorlan {

void BoolMessageNode::Accept(IMessageNodeVisitor& visitor) const { visitor.Visit(*this); }

unsigned BoolMessageNode::Parse(const common::Buffer& buffer, unsigned index) {
  value = (buffer[index] & 0x01) != 0;
  return index + 1;
}

void BoolMessageNode::Serialize(common::Buffer& buffer) const { buffer.Append(value ? 0xC1 : 0xC0); }

}  // namespace quorlan

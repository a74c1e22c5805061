#include "quorlan/NullMessageNode.h"

#include "common/Buffer.h"
#include "quorlan/IMessageNodeVisitor.h"

namespace quorlan {

void NullMessageNode::Accept(IMessageNodeVisitor& visitor) const { visitor.Visit(*this); }

unsigned NullMessageNode::Parse(const common::Buffer& buffer, unsigned index) {
  static_cast<void>(buffer[index]);  // the tag must be there
  return index + 1;
}

void NullMessageNode::Serialize(common::Buffer& buffer) const { buffer.Append(0x00); }

}  // namespace quorlan

#include "quorlan/StructMessageNode.h"

#include "common/Buffer.h"
#include "common/Exceptions.h"
#include "quorlan/IMessageNodeVisitor.h"
#include "quorlan/NodeWire.h"

namespace quorlan {

MessageNodePtr StructMessageNode::GetNode(uint8_t key) const { return Require(Find(nodes, key)); }

const MessageNodePtr* StructMessageNode::FindNode(uint8_t key) const { return Find(nodes, key); }

void StructMessageNode::SetNode(uint8_t key, const MessageNodePtr& node) { Insert(nodes, key, node); }

void StructMessageNode::Accept(IMessageNodeVisitor& visitor) const { visitor.Visit(*this); }

unsigned StructMessageNode::Parse(const common::Buffer& buffer, unsigned index) {
  const NestingGuard guard;
  unsigned count = 0;
  index = wire::ReadCount(buffer, index, count);
  nodes.clear();
  for (unsigned i = 0; i < count; ++i) {
    index = ParseEntry(buffer, index, nodes);
  }
  return index;
}

void StructMessageNode::Serialize(common::Buffer& buffer) const {
  if (nodes.size() > wire::kMaxCount) {
    throw SerializeException("to long struct");
  }
  wire::WriteCount(buffer, 0x10, static_cast<unsigned>(nodes.size()));
  SerializeEntries(nodes, buffer);
}

}  // namespace quorlan

#include "quorlan/ListMessageNode.h"

#include <stdexcept>

#include "common/Buffer.h"
#include "common/Exceptions.h"
#include "quorlan/IMessageNodeVisitor.h"
#include "quorlan/NodeWire.h"

namespace quorlan {

MessageNodePtr ListMessageNode::GetNode(uint8_t key) const { return Require(FindNode(key)); }

const MessageNodePtr* ListMessageNode::FindNode(uint8_t key) const {
  return key < nodes.size() ? &nodes[key] : nullptr;
}

void ListMessageNode::SetNode(uint8_t, const MessageNodePtr& node) {
  if (!node) {
    throw std::invalid_argument("null node");
  }
  nodes.push_back(node);
}

void ListMessageNode::Accept(IMessageNodeVisitor& visitor) const { visitor.Visit(*this); }

unsigned ListMessageNode::Parse(const common::Buffer& buffer, unsigned index) {
  const NestingGuard guard;
  unsigned count = 0;
  index = wire::ReadCount(buffer, index, count);
  nodes.clear();
  for (unsigned i = 0; i < count; ++i) {
    MessageNodePtr node = CreateNode(buffer[index]);
    index = node->Parse(buffer, index);
    nodes.push_back(node);
  }
  return index;
}

void ListMessageNode::Serialize(common::Buffer& buffer) const {
  if (nodes.size() > wire::kMaxCount) {
    throw SerializeException("to long list");
  }
  wire::WriteCount(buffer, 0x20, static_cast<unsigned>(nodes.size()));
  for (const MessageNodePtr& node : nodes) {
    node->Serialize(buffer);
  }
}

}  // namespace quorlan

#pragma once

#include "quorlan/AContainerNode.h"

namespace quorlan {

// Children under 8-bit keys, in ascending key order: tag 0x10 with the count
// (see NodeWire.h), then per entry one key byte and one node. At most 2,047
// entries; more fails on writing with SerializeException "to long struct".
class StructMessageNode : public AContainerNode {
 public:
  using AContainerNode::FindNode;
  using AContainerNode::GetNode;

  MessageNodePtr GetNode(uint8_t key) const override;
  const MessageNodePtr* FindNode(uint8_t key) const override;
  void SetNode(uint8_t key, const MessageNodePtr& node) override;
  unsigned GetCount() const override { return static_cast<unsigned>(nodes.size()); }
  const NodeMap& GetNodes() const { return nodes; }

  void Accept(IMessageNodeVisitor& visitor) const override;
  unsigned Parse(const common::Buffer& buffer, unsigned index) override;
  void Serialize(common::Buffer& buffer) const override;

 private:
  NodeMap nodes;
};

}  // namespace quorlan

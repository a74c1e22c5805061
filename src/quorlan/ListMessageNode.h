#pragma once

#include <vector>

#include "quorlan/AContainerNode.h"

namespace quorlan {

// Children in insertion order: tag 0x20 with the count (see NodeWire.h), then
// the nodes without keys. At most 2,047 entries; more fails on writing with
// SerializeException "to long list".
class ListMessageNode : public AContainerNode {
 public:
  typedef std::vector<MessageNodePtr> NodeList;

  using AContainerNode::FindNode;
  using AContainerNode::GetNode;

  // key is the position in the list.
  MessageNodePtr GetNode(uint8_t key) const override;
  const MessageNodePtr* FindNode(uint8_t key) const override;
  // Appends; key is ignored.
  void SetNode(uint8_t key, const MessageNodePtr& node) override;
  unsigned GetCount() const override { return static_cast<unsigned>(nodes.size()); }
  const NodeList& GetNodes() const { return nodes; }

  void Accept(IMessageNodeVisitor& visitor) const override;
  unsigned Parse(const common::Buffer& buffer, unsigned index) override;
  void Serialize(common::Buffer& buffer) const override;

 private:
  NodeList nodes;
};

}  // namespace quorlan

#pragma once

#include <cstdint>

#include "quorlan/AContainerNode.h"

namespace quorlan {

// A whole server message: a 16-bit id (high byte first) and children under
// 8-bit keys, written in ascending key order up to the end of the byte
// string. There is no count, checksum or overall length: the byte string is
// exactly one message and must be consumed exactly.
class Message : public AContainerNode {
 public:
  explicit Message(uint16_t id = 0) : id(id) {}

  uint16_t GetId() const { return id; }
  void SetId(uint16_t newId) { id = newId; }

  using AContainerNode::FindNode;
  using AContainerNode::GetNode;

  MessageNodePtr GetNode(uint8_t key) const override;
  const MessageNodePtr* FindNode(uint8_t key) const override;
  void SetNode(uint8_t key, const MessageNodePtr& node) override;
  unsigned GetCount() const override { return static_cast<unsigned>(nodes.size()); }
  const NodeMap& GetNodes() const { return nodes; }

  void Accept(IMessageNodeVisitor& visitor) const override;

  // Parses a whole message. Bytes left over, or a last node whose length runs
  // past the end, fail with "message has invalid length". Every failure of
  // the tree comes out as a ParseException with the original what() text.
  // What was parsed until the failure stays in the tree.
  void Parse(const common::Buffer& buffer);

  // Reads the id at index (its high byte) and then entries while the index is
  // below the buffer's size; returns the index behind the last entry.
  unsigned Parse(const common::Buffer& buffer, unsigned index) override;

  // Sets the size of buffer to 0, then writes the id and the entries. Should
  // anything throw, the buffer is left empty and the exception goes on.
  void Serialize(common::Buffer& buffer) const override;

 private:
  uint16_t id;
  NodeMap nodes;
};

}  // namespace quorlan

#pragma once

#include <cstdint>

#include <boost/shared_ptr.hpp>

namespace common {
class Buffer;
}

namespace quorlan {

class IMessageNodeVisitor;

// Deepest nesting of containers that parsing accepts below a message: a
// message's own struct or list is level 1. Real messages nest three levels at
// most; the bound only keeps a hostile message from exhausting the stack of
// the recursive reader. Deeper input fails with ParseException
// "message nests too deeply".
constexpr unsigned kMaxNestingDepth = 32;

// One node of a server message tree. Children are held through shared
// pointers, so a subtree taken out of a tree stays valid after the tree is
// gone; a node knows nothing of its parent.
class AMessageNode {
 public:
  virtual ~AMessageNode() = default;

  // Calls the visitor's overload for the node's own class.
  virtual void Accept(IMessageNodeVisitor& visitor) const = 0;

  // Reads the node starting at its tag byte (for a message: at the first byte
  // of its id) and returns the index behind it. Every read is bounds-checked
  // by common::Buffer (std::out_of_range "idx is out of range").
  virtual unsigned Parse(const common::Buffer& buffer, unsigned index) = 0;

  // Appends the node's binary form, tag byte included.
  virtual void Serialize(common::Buffer& buffer) const = 0;
};

typedef boost::shared_ptr<AMessageNode> MessageNodePtr;

// The empty node that a tag byte announces (a byte array gets a capacity of
// 256); its Parse then reads from the tag byte on. Fails with ParseException
// "node has unknown type" for the tags 0x30 to 0x3F and 0xCA to 0xFF.
MessageNodePtr CreateNode(uint8_t tag);

}  // namespace quorlan

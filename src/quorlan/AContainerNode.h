#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "quorlan/AMessageNode.h"

namespace quorlan {

// A node with children: a struct, a list or a whole message.
class AContainerNode : public AMessageNode {
 public:
  // The child under key (for a list: at that position, so only the first
  // 256 positions are reachable). Fails with NotFoundException
  // "can't find node".
  virtual MessageNodePtr GetNode(uint8_t key) const = 0;

  // The child under key, or null: the lookup for optional nodes, which are
  // missing on the normal path and must not cost an exception there.
  virtual const MessageNodePtr* FindNode(uint8_t key) const = 0;

  // Struct and message: inserts under key, replacing what stood there.
  // List: appends at the end, the key is ignored.
  virtual void SetNode(uint8_t key, const MessageNodePtr& node) = 0;

  // Number of children.
  virtual unsigned GetCount() const = 0;

  // Walks a chain of decimal keys separated by "/", such as "6/1" or "9/0/2".
  // Each number is read with strtol and cut to its low 8 bits ("300" is key
  // 44). A step without digits fails with std::invalid_argument
  // "invalid path"; an inner step that isn't a container with
  // NotFoundException and an empty text; a missing key as GetNode(key) does.
  MessageNodePtr GetNode(const std::string& path) const;
  // The same walk without NotFoundException: null where GetNode(path) would
  // fail with it (a malformed path still fails with std::invalid_argument).
  MessageNodePtr FindNode(const std::string& path) const;

  // False where the matching GetNode fails with NotFoundException; every
  // other failure passes through.
  bool HasNode(const std::string& path) const;
  bool HasNode(uint8_t key) const;

 protected:
  // The children of a struct and of a message: one per key, kept in
  // ascending key order, which is also the order on the wire.
  typedef std::map<uint8_t, MessageNodePtr> NodeMap;

  // Reads one entry (key byte, then a node) at index into nodes; a key that
  // comes twice keeps the later node.
  static unsigned ParseEntry(const common::Buffer& buffer, unsigned index, NodeMap& nodes);
  static void SerializeEntries(const NodeMap& nodes, common::Buffer& buffer);
  static const MessageNodePtr* Find(const NodeMap& nodes, uint8_t key);
  // *found, or NotFoundException "can't find node" for null.
  static MessageNodePtr Require(const MessageNodePtr* found);
  static void Insert(NodeMap& nodes, uint8_t key, const MessageNodePtr& node);

  // Counts the containers being parsed on this thread, so that nesting
  // deeper than kMaxNestingDepth fails with ParseException
  // "message nests too deeply" instead of exhausting the stack.
  class NestingGuard {
   public:
    NestingGuard();
    ~NestingGuard();
    NestingGuard(const NestingGuard&) = delete;
    NestingGuard& operator=(const NestingGuard&) = delete;
  };
};

typedef boost::shared_ptr<AContainerNode> ContainerNodePtr;

}  // namespace quorlan

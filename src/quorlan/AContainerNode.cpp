#include "quorlan/AContainerNode.h"

#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "common/Buffer.h"
#include "common/Exceptions.h"

namespace quorlan {

namespace {

thread_local unsigned parseDepth = 0;

}  // namespace

namespace {

// Walks path; null with the text of the NotFoundException that GetNode
// throws in failure where a step is missing.
MessageNodePtr Walk(const AContainerNode& start, const std::string& path, const char*& failure) {
  const AContainerNode* container = &start;
  const char* step = path.c_str();
  for (;;) {
    // strtol stops at the "/", so the step needs no copy of its own.
    char* end = nullptr;
    const long number = std::strtol(step, &end, 10);
    if (end == step) {
      throw std::invalid_argument("invalid path");
    }
    const MessageNodePtr* node = container->FindNode(static_cast<uint8_t>(number));
    if (node == nullptr) {
      failure = "can't find node";
      return MessageNodePtr();
    }
    const char* slash = std::strchr(end, '/');
    if (slash == nullptr) {
      return *node;
    }
    container = dynamic_cast<const AContainerNode*>(node->get());
    if (container == nullptr) {
      failure = "";
      return MessageNodePtr();
    }
    step = slash + 1;
  }
}

}  // namespace

MessageNodePtr AContainerNode::GetNode(const std::string& path) const {
  const char* failure = nullptr;
  MessageNodePtr node = Walk(*this, path, failure);
  if (!node) {
    throw NotFoundException(failure);
  }
  return node;
}

MessageNodePtr AContainerNode::FindNode(const std::string& path) const {
  const char* failure = nullptr;
  return Walk(*this, path, failure);
}

bool AContainerNode::HasNode(const std::string& path) const { return FindNode(path) != nullptr; }

bool AContainerNode::HasNode(uint8_t key) const { return FindNode(key) != nullptr; }

unsigned AContainerNode::ParseEntry(const common::Buffer& buffer, unsigned index, NodeMap& nodes) {
  const uint8_t key = buffer[index];
  MessageNodePtr node = CreateNode(buffer[index + 1]);
  index = node->Parse(buffer, index + 1);
  nodes[key] = node;
  return index;
}

void AContainerNode::SerializeEntries(const NodeMap& nodes, common::Buffer& buffer) {
  for (const NodeMap::value_type& entry : nodes) {
    buffer.Append(entry.first);
    entry.second->Serialize(buffer);
  }
}

const MessageNodePtr* AContainerNode::Find(const NodeMap& nodes, uint8_t key) {
  const NodeMap::const_iterator found = nodes.find(key);
  return found != nodes.end() ? &found->second : nullptr;
}

MessageNodePtr AContainerNode::Require(const MessageNodePtr* found) {
  if (found == nullptr) {
    throw NotFoundException("can't find node");
  }
  return *found;
}

void AContainerNode::Insert(NodeMap& nodes, uint8_t key, const MessageNodePtr& node) {
  if (!node) {
    throw std::invalid_argument("null node");
  }
  nodes[key] = node;
}

AContainerNode::NestingGuard::NestingGuard() {
  if (parseDepth >= kMaxNestingDepth) {
    throw ParseException("message nests too deeply");
  }
  ++parseDepth;
}

AContainerNode::NestingGuard::~NestingGuard() { --parseDepth; }

}  // namespace quorlan

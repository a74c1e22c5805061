#include "quorlan/AContainerNode.h"

#include <cstdlib>
#include <stdexcept>

#include "common/Buffer.h"
#include "common/Exceptions.h"

namespace quorlan {

namespace {

thread_local unsigned parseDepth = 0;

}  // namespace

MessageNodePtr AContainerNode::GetNode(const std::string& path) const {
  const AContainerNode* container = this;
  MessageNodePtr holder;  // keeps the container of the next step alive
  std::string::size_type begin = 0;
  for (;;) {
    const std::string::size_type slash = path.find('/', begin);
    const std::string step =
        path.substr(begin, slash == std::string::npos ? std::string::npos : slash - begin);
    char* end = nullptr;
    const long number = std::strtol(step.c_str(), &end, 10);
    if (end == step.c_str()) {
      throw std::invalid_argument("invalid path");
    }
    MessageNodePtr node = container->GetNode(static_cast<uint8_t>(number));
    if (slash == std::string::npos) {
      return node;
    }
    container = dynamic_cast<const AContainerNode*>(node.get());
    if (container == nullptr) {
      throw NotFoundException("");
    }
    holder = node;
    begin = slash + 1;
  }
}

bool AContainerNode::HasNode(const std::string& path) const {
  try {
    GetNode(path);
    return true;
  } catch (const NotFoundException&) {
    return false;
  }
}

bool AContainerNode::HasNode(uint8_t key) const {
  try {
    GetNode(key);
    return true;
  } catch (const NotFoundException&) {
    return false;
  }
}

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

MessageNodePtr AContainerNode::Find(const NodeMap& nodes, uint8_t key) {
  const NodeMap::const_iterator found = nodes.find(key);
  if (found == nodes.end()) {
    throw NotFoundException("can't find node");
  }
  return found->second;
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

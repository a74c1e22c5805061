#include "quorlan/Message.h"

#include <exception>

#include "common/Buffer.h"
#include "common/Exceptions.h"
#include "quorlan/IMessageNodeVisitor.h"

namespace quorlan {

MessageNodePtr Message::GetNode(uint8_t key) const { return Require(Find(nodes, key)); }

const MessageNodePtr* Message::FindNode(uint8_t key) const { return Find(nodes, key); }

void Message::SetNode(uint8_t key, const MessageNodePtr& node) { Insert(nodes, key, node); }

void Message::Accept(IMessageNodeVisitor& visitor) const { visitor.Visit(*this); }

void Message::Parse(const common::Buffer& buffer) {
  try {
    if (Parse(buffer, 0) != buffer.GetSize()) {
      throw ParseException("message has invalid length");
    }
  } catch (const ParseException&) {
    throw;
  } catch (const std::exception& error) {
    throw ParseException(error.what());
  }
}

unsigned Message::Parse(const common::Buffer& buffer, unsigned index) {
  id = static_cast<uint16_t>(buffer[index] << 8 | buffer[index + 1]);
  index += 2;
  nodes.clear();
  while (index < buffer.GetSize()) {
    index = ParseEntry(buffer, index, nodes);
  }
  return index;
}

void Message::Serialize(common::Buffer& buffer) const {
  buffer.Clear();
  try {
    buffer.Append(static_cast<unsigned char>(id >> 8));
    buffer.Append(static_cast<unsigned char>(id & 0xFF));
    SerializeEntries(nodes, buffer);
  } catch (...) {
    buffer.Clear();
    throw;
  }
}

}  // namespace quorlan

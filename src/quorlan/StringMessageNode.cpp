#include "quorlan/StringMessageNode.h"

#include "common/Buffer.h"
#include "common/Exceptions.h"
#include "quorlan/IMessageNodeVisitor.h"
#include "quorlan/NodeWire.h"

namespace quorlan {

void StringMessageNode::Accept(IMessageNodeVisitor& visitor) const { visitor.Visit(*this); }

unsigned StringMessageNode::Parse(const common::Buffer& buffer, unsigned index) {
  const unsigned char* bytes = nullptr;
  unsigned available = 0;
  const unsigned end = wire::ReadBlock(buffer, index, bytes, available);
  value.assign(reinterpret_cast<const char*>(bytes), available);
  return end;
}

void StringMessageNode::Serialize(common::Buffer& buffer) const {
  if (value.size() > wire::kMaxBlockLength) {
    throw SerializeException("to long string");
  }
  const unsigned length = static_cast<unsigned>(value.size());
  wire::WriteBlockHeader(buffer, 0x40, length);
  buffer.Append(value.data(), length);
}

}  // namespace quorlan

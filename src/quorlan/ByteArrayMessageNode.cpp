#include "quorlan/ByteArrayMessageNode.h"

#include "common/Exceptions.h"
#include "quorlan/IMessageNodeVisitor.h"
#include "quorlan/NodeWire.h"

namespace quorlan {

void ByteArrayMessageNode::Accept(IMessageNodeVisitor& visitor) const { visitor.Visit(*this); }

unsigned ByteArrayMessageNode::Parse(const common::Buffer& buffer, unsigned index) {
  const unsigned char* bytes = nullptr;
  unsigned available = 0;
  const unsigned end = wire::ReadBlock(buffer, index, bytes, available);
  value.Clear();
  value.Append(bytes, available);
  return end;
}

void ByteArrayMessageNode::Serialize(common::Buffer& buffer) const {
  if (value.GetSize() > wire::kMaxBlockLength) {
    throw SerializeException("to long byte array");
  }
  wire::WriteBlockHeader(buffer, 0x80, value.GetSize());
  buffer.Append(value.GetData(), value.GetSize());
}

}  // namespace quorlan

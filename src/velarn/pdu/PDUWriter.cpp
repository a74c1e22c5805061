#include "velarn/pdu/PDUWriter.h"

#include "common/Buffer.h"
#include "velarn/pdu/PDU.h"

namespace velarn {

PDUWriter& PDUWriter::Byte(uint8_t option, uint8_t value) { return Bytes(option, &value, 1); }

PDUWriter& PDUWriter::U16(uint8_t option, uint16_t value) {
  const unsigned char bytes[] = {static_cast<unsigned char>(value), static_cast<unsigned char>(value >> 8)};
  return Bytes(option, bytes, sizeof(bytes));
}

PDUWriter& PDUWriter::U32(uint8_t option, uint32_t value) {
  const unsigned char bytes[] = {static_cast<unsigned char>(value), static_cast<unsigned char>(value >> 8),
                                 static_cast<unsigned char>(value >> 16),
                                 static_cast<unsigned char>(value >> 24)};
  return Bytes(option, bytes, sizeof(bytes));
}

PDUWriter& PDUWriter::Bytes(uint8_t option, const void* data, unsigned size) {
  const unsigned char* bytes = static_cast<const unsigned char*>(data);
  options.emplace_back(
      option, size != 0 ? std::vector<unsigned char>(bytes, bytes + size) : std::vector<unsigned char>());
  return *this;
}

PDUWriter& PDUWriter::Text(uint8_t option, const std::string& text) {
  return Bytes(option, text.data(), static_cast<unsigned>(text.size()));
}

PDUWriter& PDUWriter::Blob(uint8_t option, const common::Buffer& blob) {
  return Bytes(option, blob.GetData(), blob.GetSize());
}

void PDUWriter::Write(common::Buffer& buffer) const {
  // The owned values are lent to a PDU for the one serialisation.
  PDU pdu(id);
  for (const auto& option : options) {
    PDU::Parameter parameter;
    parameter.id = option.first;
    parameter.size = static_cast<uint32_t>(option.second.size());
    parameter.data = option.second.data();
    pdu.parameters.push_back(parameter);
  }
  buffer.Clear();
  pdu.Serialize(buffer);
}

}  // namespace velarn

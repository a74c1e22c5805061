#include "velarn/pdu/OutgoingAppMsgs.h"

namespace velarn {

namespace {

void AddOption(PDU& pdu, uint8_t id, const void* data, size_t size) {
  PDU::Parameter parameter;
  parameter.id = id;
  parameter.size = static_cast<uint32_t>(size);
  parameter.data = static_cast<const unsigned char*>(data);
  pdu.parameters.push_back(parameter);
}

void AddText(PDU& pdu, uint8_t id, const std::string& text) { AddOption(pdu, id, text.data(), text.size()); }

void AddBlob(PDU& pdu, uint8_t id, const common::Buffer& blob) {
  AddOption(pdu, id, blob.GetData(), blob.GetSize());
}

}  // namespace

void AppMsg_1_3::Encode(PDU& pdu) const {
  AOutgoingAppMsg::Encode(pdu);
  pdu.parameters.clear();
  AddOption(pdu, 1, &mode, 1);
}

void AppMsg_4_4::Encode(PDU& pdu) const {
  AOutgoingAppMsg::Encode(pdu);
  pdu.parameters.clear();
  AddOption(pdu, 1, &first, 1);
  AddOption(pdu, 2, &last, 1);
}

AppMsg_4_7::AppMsg_4_7(const common::Buffer& message, const std::string& recipient)
    : message(1024, 200), recipient(recipient) {
  this->message.Append(message.GetData(), message.GetSize());
}

void AppMsg_4_7::Encode(PDU& pdu) const {
  AOutgoingAppMsg::Encode(pdu);
  pdu.parameters.clear();
  AddBlob(pdu, 1, message);
  if (!recipient.empty()) {
    AddText(pdu, 3, recipient);
  }
}

void AppMsg_7_2::Encode(PDU& pdu) const {
  AOutgoingAppMsg::Encode(pdu);
  pdu.parameters.clear();
  AddOption(pdu, 1, &value, 1);
}

void AppMsg_8_1::Encode(PDU& pdu) const {
  AOutgoingAppMsg::Encode(pdu);
  pdu.parameters.clear();
  AddText(pdu, 1, name);
}

AppMsg_8_3::AppMsg_8_3(const std::string& name) : name(name), found(false), value(32, 200) {}

AppMsg_8_3::AppMsg_8_3(const std::string& name, const common::Buffer& value)
    : name(name), found(true), value(32, 200) {
  this->value.Append(value.GetData(), value.GetSize());
}

void AppMsg_8_3::Encode(PDU& pdu) const {
  AOutgoingAppMsg::Encode(pdu);
  pdu.parameters.clear();
  AddText(pdu, 1, name);
  if (found) {
    AddBlob(pdu, 2, value);
  }
}

void AppMsg_8_5::Encode(PDU& pdu) const {
  AOutgoingAppMsg::Encode(pdu);
  pdu.parameters.clear();
  AddText(pdu, 1, name);
}

}  // namespace velarn

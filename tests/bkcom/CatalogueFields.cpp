#include "CatalogueFields.h"

#include "bkmp/MessageObject.h"

namespace bkcomtest {

using bkcom::FieldInfo;
using bkcom::FieldKind;

namespace {

long long Number(const FieldInfo& field, size_t index, int seed) {
  const long long i = static_cast<long long>(index);
  switch (field.kind) {
    case FieldKind::Int8:
      return -10 - i - seed;
    case FieldKind::Uint8:
      return 200 + i + seed;
    case FieldKind::Uint16:
      return 60000 + i + seed;
    case FieldKind::Int32:
      return -1000000 - i - 7 * seed;
    case FieldKind::Uint32:
      return 0xF0000000LL + i + 100 * seed;  // above the signed range
    case FieldKind::Bool:
      return (i + seed) % 2 == 0 ? 1 : 0;
    case FieldKind::Text:
      break;
  }
  return 0;
}

std::string Text(const FieldInfo& field, size_t index, int seed, int extra) {
  std::string text;
  for (size_t i = 0; i < static_cast<size_t>(field.textSize - 1 + extra); ++i) {
    text += static_cast<char>('a' + (i + index + static_cast<size_t>(seed)) % 26);
  }
  return text;
}

}  // namespace

void FillMessage(CBrenikCommunicationMessage& message, const bkcom::MessageInfo& info, int seed,
                 const std::string& skip, const std::string& wrongType, int textExtra) {
  message.SetInt8("MessageID", static_cast<int8_t>(info.id));
  for (size_t i = 0; i < info.fields.size(); ++i) {
    const FieldInfo& field = info.fields[i];
    const char* key = field.name.c_str();
    const long long number = Number(field, i, seed);
    if (field.name == skip) {
      continue;
    }
    if (field.name == wrongType) {
      // A 16-bit number where a text belongs, a text where a number belongs.
      if (field.kind == FieldKind::Text) {
        message.SetUint16(key, 1);
      } else {
        message.SetStr(key, "1");
      }
      continue;
    }
    switch (field.kind) {
      case FieldKind::Int8:
        message.SetInt8(key, static_cast<int8_t>(number));
        break;
      case FieldKind::Uint8:
        message.SetUint8(key, static_cast<uint8_t>(number));
        break;
      case FieldKind::Uint16:
        message.SetUint16(key, static_cast<uint16_t>(number));
        break;
      case FieldKind::Int32:
        message.SetInt32(key, static_cast<int32_t>(number));
        break;
      case FieldKind::Uint32:
        message.SetUint32(key, static_cast<uint32_t>(number));
        break;
      case FieldKind::Bool:
        message.SetBool(key, static_cast<int>(number));
        break;
      case FieldKind::Text:
        message.SetStr(key, Text(field, i, seed, textExtra).c_str());
        break;
    }
  }
}

std::string DescribeFields(CBrenikCommunicationMessage& message, const bkcom::MessageInfo& info) {
  std::string line;
  for (const FieldInfo& field : info.fields) {
    std::string value;
    line += (line.empty() ? "" : " ") + field.name + "=" +
            (bkcom::ReadFieldValue(message, field, value) ? value : "?");
  }
  return line;
}

std::string ExpectedFields(const bkcom::MessageInfo& info, int seed) {
  std::string line;
  for (size_t i = 0; i < info.fields.size(); ++i) {
    const FieldInfo& field = info.fields[i];
    line +=
        (line.empty() ? "" : " ") + field.name + "=" +
        (field.kind == FieldKind::Text ? Text(field, i, seed, 0) : std::to_string(Number(field, i, seed)));
  }
  return line;
}

std::vector<std::string> FieldKeys(const CBrenikCommunicationMessage& message) {
  std::vector<std::string> keys;
  if (message.GetHandle() != nullptr) {
    for (const bkmp::Field& field : message.GetHandle()->fields) {
      keys.push_back(field.key);
    }
  }
  return keys;
}

}  // namespace bkcomtest

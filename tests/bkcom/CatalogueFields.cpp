#include "CatalogueFields.h"

#include <vector>

#include "bkmp/MessageObject.h"

namespace bkcomtest {

using bkcom::FieldInfo;
using bkcom::FieldKind;

std::string TextValue(const FieldInfo& field, int index, int seed, int extra) {
  std::string text;
  for (int i = 0; i < field.textSize - 1 + extra; ++i) {
    text += static_cast<char>('a' + (i + index + seed) % 26);
  }
  return text;
}

long long NumberValue(const FieldInfo& field, int index, int seed) {
  switch (field.kind) {
    case FieldKind::Int8:
      return -10 - index - seed;
    case FieldKind::Uint8:
      return 200 + index + seed;
    case FieldKind::Uint16:
      return 60000 + index + seed;
    case FieldKind::Int32:
      return -1000000 - index - 7 * seed;
    case FieldKind::Uint32:
      return 0xF0000000LL + index + 100 * seed;  // above the signed range
    case FieldKind::Bool:
      return (index + seed) % 2 == 0 ? 1 : 0;
    case FieldKind::Text:
      break;
  }
  return 0;
}

namespace {

void SetField(CBrenikCommunicationMessage& message, const FieldInfo& field, FieldKind kind, long long number,
              const std::string& text) {
  const char* key = field.name.c_str();
  switch (kind) {
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
      message.SetStr(key, text.c_str());
      break;
  }
}

}  // namespace

void FillMessage(CBrenikCommunicationMessage& message, const bkcom::MessageInfo& info, int seed,
                 const std::string& skip, const std::string& wrongType, int textExtra) {
  message.SetInt8("MessageID", static_cast<int8_t>(info.id));
  for (size_t i = 0; i < info.fields.size(); ++i) {
    const FieldInfo& field = info.fields[i];
    if (field.name == skip) {
      continue;
    }
    const int index = static_cast<int>(i);
    if (field.name == wrongType) {
      // A text where a number belongs, a 16-bit number where a text belongs.
      if (field.kind == FieldKind::Text) {
        SetField(message, field, FieldKind::Uint16, 1, "");
      } else {
        SetField(message, field, FieldKind::Text, 0, "1");
      }
      continue;
    }
    SetField(message, field, field.kind, NumberValue(field, index, seed),
             TextValue(field, index, seed, textExtra));
  }
}

bool ReadField(CBrenikCommunicationMessage& message, const FieldInfo& field, long long& number,
               std::string& text) {
  const char* key = field.name.c_str();
  number = 0;
  text.clear();
  switch (field.kind) {
    case FieldKind::Int8: {
      int8_t value = 0;
      const bool ok = message.GetInt8(key, &value);
      number = value;
      return ok;
    }
    case FieldKind::Uint8: {
      uint8_t value = 0;
      const bool ok = message.GetUint8(key, &value);
      number = value;
      return ok;
    }
    case FieldKind::Uint16: {
      uint16_t value = 0;
      const bool ok = message.GetUint16(key, &value);
      number = value;
      return ok;
    }
    case FieldKind::Int32: {
      int32_t value = 0;
      const bool ok = message.GetInt32(key, &value);
      number = value;
      return ok;
    }
    case FieldKind::Uint32: {
      uint32_t value = 0;
      const bool ok = message.GetUint32(key, &value);
      number = value;
      return ok;
    }
    case FieldKind::Bool: {
      int value = 0;
      const bool ok = message.GetBool(key, &value);
      number = value;
      return ok;
    }
    case FieldKind::Text: {
      std::vector<char> buffer(70000);  // far more than any field's buffer
      const bool ok = message.GetStr(key, buffer.data(), static_cast<int>(buffer.size()));
      text = buffer.data();
      return ok;
    }
  }
  return false;
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

#include "velarnctl/NavFormat.h"

#include <cstdio>
#include <vector>

#include "bkcom/BrenikCommunicationMessage.h"
#include "bkcom/MessageCatalogue.h"

namespace velarnctl {

namespace {

using bkcom::FieldInfo;
using bkcom::FieldKind;

// The value of one field as shown, or false if it can't be read as its kind.
bool FormatField(CBrenikCommunicationMessage& message, const FieldInfo& field, std::string& out) {
  const char* key = field.name.c_str();
  switch (field.kind) {
    case FieldKind::Int8: {
      int8_t value = 0;
      return message.GetInt8(key, &value) && (out = std::to_string(value), true);
    }
    case FieldKind::Uint8: {
      uint8_t value = 0;
      return message.GetUint8(key, &value) && (out = std::to_string(value), true);
    }
    case FieldKind::Uint16: {
      uint16_t value = 0;
      return message.GetUint16(key, &value) && (out = std::to_string(value), true);
    }
    case FieldKind::Int32: {
      int32_t value = 0;
      return message.GetInt32(key, &value) && (out = std::to_string(value), true);
    }
    case FieldKind::Uint32: {
      uint32_t value = 0;
      return message.GetUint32(key, &value) && (out = std::to_string(value), true);
    }
    case FieldKind::Bool: {
      int value = 0;
      return message.GetBool(key, &value) && (out = value != 0 ? "true" : "false", true);
    }
    case FieldKind::Text: {
      // Shown as the daemon would read it: cut to the field's buffer.
      std::vector<char> buffer(static_cast<size_t>(field.textSize));
      return message.GetStr(key, buffer.data(), field.textSize) && (out = QuoteText(buffer.data()), true);
    }
  }
  return false;
}

}  // namespace

std::string FormatNavMessage(CBrenikCommunicationMessage& message) {
  int8_t id = 0;
  if (!message.GetInt8("MessageID", &id)) {
    return "? (no MessageID)";
  }
  const bkcom::MessageInfo* info = bkcom::FindMessageInfo(id);
  if (info == nullptr) {
    return "? MessageID=" + std::to_string(id);
  }
  std::string line = info->className;
  std::string value;
  for (const FieldInfo& field : info->fields) {
    if (!FormatField(message, field, value)) {
      return line + " (malformed: " + field.name + " missing or of another type)";
    }
    line += " " + DisplayFieldName(field.name) + "=" + value;
  }
  return line;
}

std::string DisplayFieldName(const std::string& wireName) {
  std::string name;
  for (size_t i = 0; i < wireName.size(); ++i) {
    name += wireName[i];
    if (wireName[i] == '_' && i + 1 < wireName.size()) {
      name += '.';
    }
  }
  return name;
}

std::string QuoteText(const std::string& text) {
  std::string quoted = "\"";
  for (const char c : text) {
    switch (c) {
      case '"':
        quoted += "\\\"";
        break;
      case '\\':
        quoted += "\\\\";
        break;
      case '\n':
        quoted += "\\n";
        break;
      case '\r':
        quoted += "\\r";
        break;
      case '\t':
        quoted += "\\t";
        break;
      default:
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) {
          char escaped[8];
          std::snprintf(escaped, sizeof(escaped), "\\x%02x", static_cast<unsigned char>(c));
          quoted += escaped;
        } else {
          quoted += c;
        }
    }
  }
  return quoted + "\"";
}

}  // namespace velarnctl

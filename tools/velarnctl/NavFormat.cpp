#include "velarnctl/NavFormat.h"

#include <cstdio>

#include "bkcom/BrenikCommunicationMessage.h"
#include "bkcom/MessageCatalogue.h"

namespace velarnctl {

namespace {

using bkcom::FieldInfo;
using bkcom::FieldKind;

// The value of one field as shown, or false if it can't be read as its kind.
bool FormatField(CBrenikCommunicationMessage& message, const FieldInfo& field, std::string& out) {
  std::string value;
  if (!bkcom::ReadFieldValue(message, field, value)) {
    return false;
  }
  if (field.kind == FieldKind::Bool) {
    out = value == "1" ? "true" : "false";
  } else if (field.kind == FieldKind::Text) {
    out = QuoteText(value);
  } else {
    out = value;
  }
  return true;
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

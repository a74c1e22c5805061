#include "velarnctl/NavFormat.h"

#include <cstdio>
#include <cstdlib>
#include <map>
#include <nlohmann/json.hpp>
#include <utility>
#include <vector>

#include "bkcom/BrenikCommunicationMessage.h"
#include "bkcom/MessageCatalogue.h"

namespace velarnctl {

namespace {

using bkcom::FieldInfo;
using bkcom::FieldKind;

typedef std::map<std::string, std::string> Values;  // wire name -> value as read

int64_t Number(const std::string& value) { return std::strtoll(value.c_str(), nullptr, 10); }

std::string Seconds(int64_t seconds, const char* zero) {
  return seconds == 0 ? zero : "every " + std::to_string(seconds) + " s";
}

// What the value of a field means; values holds the message's other fields
// for the meanings that need a neighbour.
std::string Meaning(const std::string& name, const std::string& value, const Values& values) {
  const std::string::size_type cut = name.rfind('_');
  const std::string prefix = cut == std::string::npos ? "" : name.substr(0, cut + 1);
  const std::string suffix = cut == std::string::npos ? name : name.substr(cut + 1);
  const int64_t number = Number(value);
  if (suffix == "Lat" || suffix == "Long") {
    // A position of 0, 0 is no position.
    const auto other = values.find(prefix + (suffix == "Lat" ? "Long" : "Lat"));
    if (number == 0 && (other == values.end() || other->second == "0")) {
      return "none";
    }
    return suffix == "Lat" ? LatitudeMeaning(number, 100000) : LongitudeMeaning(number, 100000);
  }
  static const char* const times[] = {
      "RecvAt", "LMT", "PA", "TS", "ETA", "StartOfWork", "EndOfWork", "StartOfLastPause", "EndOfLastPause"};
  for (const char* time : times) {
    if (suffix == time) {
      return TimeMeaning(number);
    }
  }
  if (name == "Error") {
    return AcknowledgeMeaning(static_cast<uint32_t>(number));
  }
  if (name == "Order_Type") {
    return StoredOrderTypeMeaning(static_cast<uint32_t>(number));
  }
  if (name == "Order_State") {
    return OrderStateMeaning(static_cast<uint32_t>(number));
  }
  if (name == "Order_AS" || name == "Order_AAS" || name == "NewActiveState") {
    return BitsMeaning(static_cast<uint32_t>(number));
  }
  if (name == "Type" || name == "Status_Type") {
    return number == 1 ? "order statuses" : number == 2 ? "general statuses" : "";
  }
  if (name == "NavType") {
    return number == 1 ? "no guidance" : "guidance under way";
  }
  if (name == "CurrentState") {
    return WorkingTimeStateMeaning(static_cast<uint32_t>(number));
  }
  if (name == "AllowedActions" || name == "Action") {
    return WorkingTimeActionsMeaning(static_cast<uint32_t>(number));
  }
  if (name == "Logbook_State" || name == "Logbook_AModes" || name == "NewMode") {
    return NavLogbookModesMeaning(static_cast<uint32_t>(number));
  }
  if (name == "Logbook_Started") {
    // Handed on from the unit, whose clock counts from 2000.
    return Time2000Meaning(static_cast<uint32_t>(number));
  }
  if (name == "KAInterval") {
    return Seconds(number, "none");
  }
  if (name == "NavStateUpdate") {
    return Seconds(number, "never");
  }
  return "";
}

nlohmann::ordered_json JsonValue(const FieldInfo& field, const std::string& value) {
  switch (field.kind) {
    case FieldKind::Bool:
      return value == "1";
    case FieldKind::Text:
      return value;
    default:
      return Number(value);
  }
}

}  // namespace

std::string FormatNavMessage(CBrenikCommunicationMessage& message, OutputForm form, bool received) {
  nlohmann::ordered_json json = {{"dir", received ? "in" : "out"}};
  int8_t id = 0;
  const bkcom::MessageInfo* info = nullptr;
  if (!message.GetInt8("MessageID", &id) || (info = bkcom::FindMessageInfo(id)) == nullptr) {
    json["class"] = nullptr;
    bool hasId = message.GetInt8("MessageID", &id);
    if (hasId) {
      json["MessageID"] = id;
    }
    if (form == OutputForm::Json) {
      return JsonLine(json);
    }
    return hasId ? "? MessageID=" + std::to_string(id) : "? (no MessageID)";
  }
  json["class"] = info->className;
  std::vector<std::pair<const FieldInfo*, std::string>> read;
  Values values;
  for (const FieldInfo& field : info->fields) {
    std::string value;
    if (!bkcom::ReadFieldValue(message, field, value)) {
      json["malformed"] = field.name;
      if (form == OutputForm::Json) {
        return JsonLine(json);
      }
      return std::string(info->className) + " (malformed: " + field.name + " missing or of another type)";
    }
    read.emplace_back(&field, value);
    values[field.name] = value;
  }
  nlohmann::ordered_json fields = nlohmann::ordered_json::object();
  std::string line = info->className;
  for (const auto& entry : read) {
    const FieldInfo& field = *entry.first;
    const std::string& value = entry.second;
    fields[field.name] = JsonValue(field, value);
    std::string shown = value;
    if (field.kind == FieldKind::Bool) {
      shown = value == "1" ? "true" : "false";
    } else if (field.kind == FieldKind::Text) {
      shown = QuoteText(value);
    } else if (form == OutputForm::Readable) {
      shown = Annotated(form, value, Meaning(field.name, value, values));
    }
    line += " " + DisplayFieldName(field.name) + "=" + shown;
  }
  if (form == OutputForm::Json) {
    json["fields"] = fields;
    return JsonLine(json);
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

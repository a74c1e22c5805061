#include "velarnctl/UnitMessageText.h"

#include <cstdio>
#include <nlohmann/json.hpp>

#include "common/Buffer.h"
#include "quorlan/BoolMessageNode.h"
#include "quorlan/ByteArrayMessageNode.h"
#include "quorlan/IMessageNodeVisitor.h"
#include "quorlan/IntegerMessageNode.h"
#include "quorlan/ListMessageNode.h"
#include "quorlan/Message.h"
#include "quorlan/NullMessageNode.h"
#include "quorlan/StringMessageNode.h"
#include "quorlan/StructMessageNode.h"
#include "velarnctl/Meanings.h"
#include "velarnctl/MsgHex.h"
#include "velarnctl/MsgJson.h"

namespace velarnctl {

namespace {

// The containers whose keys have names.
enum class Scope {
  kNone,
  kEvent,
  kPosition,
  kError,
  kConnected,
  kOrder,
  kDestination,
  kContacts,
  kContact,
  kCancel,
  kTextMessage,
  kConfiguration,
  kReset,
};

// What an integer under a key means, for the readable form.
enum class Kind {
  kPlain,
  kTimeMs,    // milliseconds since 2000
  kTime,      // seconds since 2000
  kLatitude,  // millionths of a degree
  kLongitude,
  kCourse,     // units of 2 degrees
  kOrderType,  // the office's order type
  kOrderWorkflow,
  kTextWorkflow,
  kReportKind,
  kWorkingState,
  kLogbookMode,  // the office's numbers
  kLinkAge,
  kErrorCode,
  kSeconds,
};

struct KeyName {
  Scope scope;
  uint8_t key;
  const char* name;
  Scope children;
  Kind kind;
};

const Scope kNo = Scope::kNone;

const KeyName kNames[] = {
    {Scope::kEvent, 1, "time", kNo, Kind::kTimeMs},
    {Scope::kEvent, 2, "linkAge", kNo, Kind::kLinkAge},
    {Scope::kEvent, 3, "unitPosition", Scope::kPosition, Kind::kPlain},
    {Scope::kEvent, 4, "navigationPosition", Scope::kPosition, Kind::kPlain},
    {Scope::kEvent, 5, "odometer", kNo, Kind::kPlain},
    {Scope::kEvent, 6, "tripValue", kNo, Kind::kPlain},
    {Scope::kEvent, 7, "logbookMode", kNo, Kind::kLogbookMode},
    {Scope::kEvent, 0x81, "statusId", kNo, Kind::kPlain},
    {Scope::kEvent, 0x82, "text", kNo, Kind::kPlain},
    {Scope::kEvent, 0x83, "orderId", kNo, Kind::kPlain},
    {Scope::kEvent, 0x84, "orderType", kNo, Kind::kOrderType},
    {Scope::kEvent, 0x85, "workflowCode", kNo, Kind::kOrderWorkflow},
    {Scope::kEvent, 0x86, "previousState", kNo, Kind::kWorkingState},
    {Scope::kEvent, 0x87, "newState", kNo, Kind::kWorkingState},
    {Scope::kEvent, 0x88, "driverId", kNo, Kind::kPlain},
    {Scope::kEvent, 0x89, "extra", kNo, Kind::kPlain},
    {Scope::kEvent, 0x8A, "reportKind", kNo, Kind::kReportKind},
    {Scope::kEvent, 0x8B, "distance", kNo, Kind::kPlain},
    {Scope::kEvent, 0x8C, "eta", kNo, Kind::kTime},
    {Scope::kEvent, 0x8D, "messageId", kNo, Kind::kPlain},
    {Scope::kEvent, 0x8E, "workflowCode", kNo, Kind::kTextWorkflow},
    {Scope::kEvent, 0x8F, "previousDriverId", kNo, Kind::kPlain},
    {Scope::kPosition, 1, "valid", kNo, Kind::kPlain},
    {Scope::kPosition, 2, "latitude", kNo, Kind::kLatitude},
    {Scope::kPosition, 3, "longitude", kNo, Kind::kLongitude},
    {Scope::kPosition, 4, "time", kNo, Kind::kTime},
    {Scope::kPosition, 5, "satellites", kNo, Kind::kPlain},
    {Scope::kPosition, 6, "course", kNo, Kind::kCourse},
    {Scope::kPosition, 7, "speed", kNo, Kind::kPlain},
    {Scope::kError, 1, "errorCode", kNo, Kind::kErrorCode},
    {Scope::kError, 2, "time", kNo, Kind::kTime},
    {Scope::kError, 3, "release", kNo, Kind::kPlain},
    {Scope::kError, 4, "text", kNo, Kind::kPlain},
    {Scope::kError, 5, "data", kNo, Kind::kPlain},
    {Scope::kConnected, 1, "time", kNo, Kind::kTime},
    {Scope::kConnected, 2, "orderIds", kNo, Kind::kPlain},
    {Scope::kConnected, 3, "textMessageIds", kNo, Kind::kPlain},
    {Scope::kConnected, 4, "release", kNo, Kind::kPlain},
    {Scope::kConnected, 5, "resetMode", kNo, Kind::kPlain},
    {Scope::kOrder, 1, "orderId", kNo, Kind::kPlain},
    {Scope::kOrder, 2, "number", kNo, Kind::kPlain},
    {Scope::kOrder, 3, "orderType", kNo, Kind::kOrderType},
    {Scope::kOrder, 4, "text", kNo, Kind::kPlain},
    {Scope::kOrder, 5, "allowedActiveStates", kNo, Kind::kPlain},
    {Scope::kOrder, 6, "destination", Scope::kDestination, Kind::kPlain},
    {Scope::kOrder, 7, "acceptanceRequired", kNo, Kind::kPlain},
    {Scope::kOrder, 8, "plannedArrival", kNo, Kind::kTime},
    {Scope::kOrder, 9, "telephoneNumbers", Scope::kContacts, Kind::kPlain},
    {Scope::kDestination, 1, "latitude", kNo, Kind::kLatitude},
    {Scope::kDestination, 2, "longitude", kNo, Kind::kLongitude},
    {Scope::kDestination, 3, "description", kNo, Kind::kPlain},
    {Scope::kContact, 1, "name", kNo, Kind::kPlain},
    {Scope::kContact, 2, "number", kNo, Kind::kPlain},
    {Scope::kCancel, 1, "orderId", kNo, Kind::kPlain},
    {Scope::kTextMessage, 1, "messageId", kNo, Kind::kPlain},
    {Scope::kTextMessage, 2, "text", kNo, Kind::kPlain},
    {Scope::kConfiguration, 1, "askDriverId", kNo, Kind::kPlain},
    {Scope::kConfiguration, 2, "logbookEnabled", kNo, Kind::kPlain},
    {Scope::kConfiguration, 3, "thirdLogbookMode", kNo, Kind::kPlain},
    {Scope::kConfiguration, 4, "workingTimeEnabled", kNo, Kind::kPlain},
    {Scope::kConfiguration, 5, "logbookFollowsWorkingTime", kNo, Kind::kPlain},
    {Scope::kConfiguration, 6, "etaEnabled", kNo, Kind::kPlain},
    {Scope::kConfiguration, 7, "etaIntervalHome", kNo, Kind::kSeconds},
    {Scope::kConfiguration, 8, "etaIntervalRoaming", kNo, Kind::kSeconds},
    {Scope::kConfiguration, 10, "privacyEnabled", kNo, Kind::kPlain},
    {Scope::kConfiguration, 11, "resetMode", kNo, Kind::kPlain},
    {Scope::kReset, 1, "deleteOrders", kNo, Kind::kPlain},
    {Scope::kReset, 2, "deleteTextMessages", kNo, Kind::kPlain},
};

std::string IntegerMeaning(Kind kind, int64_t value) {
  const uint32_t low = static_cast<uint32_t>(value);
  switch (kind) {
    case Kind::kPlain:
      return "";
    case Kind::kTimeMs:
      return value < 0 ? "" : TimeMs2000Meaning(static_cast<uint64_t>(value));
    case Kind::kTime:
      return value < 0 || value > 0xFFFFFFFFll ? "" : Time2000Meaning(low);
    case Kind::kLatitude:
      return LatitudeMeaning(value, 1000000);
    case Kind::kLongitude:
      return LongitudeMeaning(value, 1000000);
    case Kind::kCourse:
      return std::to_string(value * 2) + "\u00b0";
    case Kind::kOrderType:
      return OfficeOrderTypeMeaning(low);
    case Kind::kOrderWorkflow:
      return OrderWorkflowMeaning(low);
    case Kind::kTextWorkflow:
      return TextMessageWorkflowMeaning(low);
    case Kind::kReportKind:
      return value == 0 ? "first report" : value == 1 ? "changed" : value == 2 ? "guidance ended" : "";
    case Kind::kWorkingState:
      return WorkingTimeStateMeaning(low);
    case Kind::kLogbookMode:
      return OfficeLogbookModeMeaning(low);
    case Kind::kLinkAge:
      return value == 0 ? "link up" : value < 0 ? "never up" : "lost " + std::to_string(value) + " s ago";
    case Kind::kErrorCode:
      return value == 1 ? "message could not be read" : "";
    case Kind::kSeconds:
      return std::to_string(value) + " s";
  }
  return "";
}

Scope MessageScope(uint16_t id) {
  if (id >= 0x0501 && id <= 0x0508) {
    return Scope::kEvent;
  }
  switch (id) {
    case 0x0401:
    case 0x0402:
      return Scope::kOrder;
    case 0x0403:
      return Scope::kCancel;
    case 0x0404:
      return Scope::kTextMessage;
    case 0x0405:
      return Scope::kConfiguration;
    case 0x0406:
      return Scope::kReset;
    case 0x0580:
      return Scope::kConnected;
    case 0x05FF:
      return Scope::kError;
    default:
      return Scope::kNone;
  }
}

const KeyName kUnnamed = {Scope::kNone, 0, "", Scope::kNone, Kind::kPlain};

// The name of key in scope ("" if it has none), the scope of its children and
// the kind of its value.
const KeyName& NameOf(Scope scope, uint8_t key) {
  for (const KeyName& known : kNames) {
    if (known.scope == scope && known.key == key) {
      return known;
    }
  }
  return kUnnamed;
}

// The scope of the elements of a list in scope: the contact list holds
// contacts, other lists plain values.
Scope ElementScope(Scope scope) { return scope == Scope::kContacts ? Scope::kContact : Scope::kNone; }

// Writes one node's value; containers recurse with the scope of their keys.
// kind tells what an integer means (shown in the readable form).
class ValueWriter : public quorlan::IMessageNodeVisitor {
 public:
  ValueWriter(std::string& out, Scope scope, OutputForm form, Kind kind = Kind::kPlain)
      : out(out), scope(scope), form(form), kind(kind) {}

  void Visit(const quorlan::IntegerMessageNode& node) override {
    out += Annotated(form, std::to_string(node.GetValue()), IntegerMeaning(kind, node.GetValue()));
  }
  void Visit(const quorlan::BoolMessageNode& node) override { out += node.GetValue() ? "true" : "false"; }
  void Visit(const quorlan::NullMessageNode&) override { out += "null"; }
  void Visit(const quorlan::StringMessageNode& node) override { out += Quoted(node.GetValue()); }
  void Visit(const quorlan::ByteArrayMessageNode& node) override {
    out += "hex:" + BufferToHex(node.GetValue());
  }
  void Visit(const quorlan::StructMessageNode& node) override {
    out += "{";
    Entries(node.GetNodes(), "");
    out += "}";
  }
  void Visit(const quorlan::ListMessageNode& node) override {
    out += "[";
    bool first = true;
    for (const auto& child : node.GetNodes()) {
      out += first ? "" : ",";
      first = false;
      ValueWriter writer(out, ElementScope(scope), form);
      child->Accept(writer);
    }
    out += "]";
  }
  void Visit(const quorlan::Message& node) override { Entries(node.GetNodes(), " "); }

 private:
  template <class Map>
  void Entries(const Map& nodes, const char* lead) {
    bool first = true;
    for (const auto& entry : nodes) {
      out += first ? lead : " ";
      first = false;
      const KeyName& known = NameOf(scope, entry.first);
      out += (*known.name == '\0' ? std::to_string(entry.first) : known.name) + "=";
      ValueWriter writer(out, known.children, form, known.kind);
      entry.second->Accept(writer);
    }
  }

  std::string& out;
  Scope scope;
  OutputForm form;
  Kind kind;
};

// The same as JSON: named keys (others by their number), byte arrays as
// {"bytes": "hex"} as in the descriptions of velarnctl msg.
class JsonWriter : public quorlan::IMessageNodeVisitor {
 public:
  JsonWriter(nlohmann::ordered_json& out, Scope scope) : out(out), scope(scope) {}

  void Visit(const quorlan::IntegerMessageNode& node) override { out = node.GetValue(); }
  void Visit(const quorlan::BoolMessageNode& node) override { out = node.GetValue(); }
  void Visit(const quorlan::NullMessageNode&) override { out = nullptr; }
  void Visit(const quorlan::StringMessageNode& node) override { out = node.GetValue(); }
  void Visit(const quorlan::ByteArrayMessageNode& node) override {
    out = {{"bytes", BufferToHex(node.GetValue())}};
  }
  void Visit(const quorlan::StructMessageNode& node) override { Entries(node.GetNodes()); }
  void Visit(const quorlan::ListMessageNode& node) override {
    out = nlohmann::ordered_json::array();
    for (const auto& child : node.GetNodes()) {
      nlohmann::ordered_json element;
      JsonWriter writer(element, ElementScope(scope));
      child->Accept(writer);
      out.push_back(element);
    }
  }
  void Visit(const quorlan::Message& node) override { Entries(node.GetNodes()); }

 private:
  template <class Map>
  void Entries(const Map& nodes) {
    out = nlohmann::ordered_json::object();
    for (const auto& entry : nodes) {
      const KeyName& known = NameOf(scope, entry.first);
      nlohmann::ordered_json& value = out[*known.name == '\0' ? std::to_string(entry.first) : known.name];
      JsonWriter writer(value, known.children);
      entry.second->Accept(writer);
    }
  }

  nlohmann::ordered_json& out;
  Scope scope;
};

}  // namespace

std::string PduName(uint16_t id) {
  char text[16];
  std::snprintf(text, sizeof(text), "%u:%X", static_cast<unsigned>(id >> 8),
                static_cast<unsigned>(id & 0xFF));
  return text;
}

std::string Quoted(const std::string& text) { return JsonLine(text); }

std::string ValueText(const common::Buffer& value) {
  bool printable = value.GetSize() > 0;
  for (unsigned i = 0; i < value.GetSize() && printable; ++i) {
    printable = value.GetData()[i] >= 0x20 && value.GetData()[i] < 0x7F;
  }
  if (printable) {
    return Quoted(std::string(reinterpret_cast<const char*>(value.GetData()), value.GetSize()));
  }
  return "hex:" + BufferToHex(value);
}

std::string MessageLine(const quorlan::Message& message, OutputForm form) {
  char id[8];
  std::snprintf(id, sizeof(id), "0x%04x", message.GetId());
  const std::string name = MessageName(message.GetId());
  std::string line = std::string(id) + " " + (name.empty() ? "unknown" : name);
  ValueWriter writer(line, MessageScope(message.GetId()), form);
  message.Accept(writer);
  return line;
}

nlohmann::ordered_json MessageObject(const quorlan::Message& message) {
  char id[8];
  std::snprintf(id, sizeof(id), "0x%04x", message.GetId());
  const std::string name = MessageName(message.GetId());
  nlohmann::ordered_json json = {{"id", id}, {"name", name.empty() ? nullptr : nlohmann::ordered_json(name)}};
  JsonWriter writer(json["fields"], MessageScope(message.GetId()));
  message.Accept(writer);
  return json;
}

PduField NumberField(const std::string& name, int64_t value, const std::string& meaning) {
  return {name, std::to_string(value), value, meaning};
}

PduField TextField(const std::string& name, const std::string& value) {
  return {name, Quoted(value), value, ""};
}

PduField ParamValueField(const common::Buffer* value) {
  if (value == nullptr) {
    return {"value", "notfound", nullptr, ""};
  }
  const std::string text = ValueText(*value);
  if (text[0] == '"') {
    return {"value", text, std::string(reinterpret_cast<const char*>(value->GetData()), value->GetSize()),
            ""};
  }
  return {"value", text, {{"bytes", BufferToHex(*value)}}, ""};
}

std::string FieldsText(OutputForm form, const std::vector<PduField>& fields) {
  std::string text;
  for (const PduField& field : fields) {
    text += (text.empty() ? "" : " ") + (field.bare ? "" : field.name + "=") +
            Annotated(form, field.text, field.meaning);
  }
  return text;
}

std::string ReportText(OutputForm form, bool received, const PduReport& report, const std::string& note) {
  if (form == OutputForm::Json) {
    nlohmann::ordered_json json = {{"dir", received ? "in" : "out"}, {"pdu", report.pdu}};
    for (const PduField& field : report.fields) {
      json[field.name] = field.json;
    }
    if (!report.msg.is_null()) {
      json["msg"] = report.msg;
    }
    if (!note.empty()) {
      json["note"] = note;
    }
    return JsonLine(json);
  }
  std::string text = std::string(received ? "<- pdu " : "-> pdu ") + report.pdu;
  const std::string fields = FieldsText(form, report.fields);
  text += fields.empty() ? "" : " " + fields;
  for (const std::string& line : report.more) {
    text += "\n" + line;
  }
  return note.empty() ? text : text + " (" + note + ")";
}

}  // namespace velarnctl

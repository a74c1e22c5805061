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

struct KeyName {
  Scope scope;
  uint8_t key;
  const char* name;
  Scope children;
};

const KeyName kNames[] = {
    {Scope::kEvent, 1, "time", Scope::kNone},
    {Scope::kEvent, 2, "linkAge", Scope::kNone},
    {Scope::kEvent, 3, "unitPosition", Scope::kPosition},
    {Scope::kEvent, 4, "navigationPosition", Scope::kPosition},
    {Scope::kEvent, 5, "odometer", Scope::kNone},
    {Scope::kEvent, 6, "tripValue", Scope::kNone},
    {Scope::kEvent, 7, "logbookMode", Scope::kNone},
    {Scope::kEvent, 0x81, "statusId", Scope::kNone},
    {Scope::kEvent, 0x82, "text", Scope::kNone},
    {Scope::kEvent, 0x83, "orderId", Scope::kNone},
    {Scope::kEvent, 0x84, "orderType", Scope::kNone},
    {Scope::kEvent, 0x85, "workflowCode", Scope::kNone},
    {Scope::kEvent, 0x86, "previousState", Scope::kNone},
    {Scope::kEvent, 0x87, "newState", Scope::kNone},
    {Scope::kEvent, 0x88, "driverId", Scope::kNone},
    {Scope::kEvent, 0x89, "extra", Scope::kNone},
    {Scope::kEvent, 0x8A, "reportKind", Scope::kNone},
    {Scope::kEvent, 0x8B, "distance", Scope::kNone},
    {Scope::kEvent, 0x8C, "eta", Scope::kNone},
    {Scope::kEvent, 0x8D, "messageId", Scope::kNone},
    {Scope::kEvent, 0x8E, "workflowCode", Scope::kNone},
    {Scope::kEvent, 0x8F, "previousDriverId", Scope::kNone},
    {Scope::kPosition, 1, "valid", Scope::kNone},
    {Scope::kPosition, 2, "latitude", Scope::kNone},
    {Scope::kPosition, 3, "longitude", Scope::kNone},
    {Scope::kPosition, 4, "time", Scope::kNone},
    {Scope::kPosition, 5, "satellites", Scope::kNone},
    {Scope::kPosition, 6, "course", Scope::kNone},
    {Scope::kPosition, 7, "speed", Scope::kNone},
    {Scope::kError, 1, "errorCode", Scope::kNone},
    {Scope::kError, 2, "time", Scope::kNone},
    {Scope::kError, 3, "release", Scope::kNone},
    {Scope::kError, 4, "text", Scope::kNone},
    {Scope::kError, 5, "data", Scope::kNone},
    {Scope::kConnected, 1, "time", Scope::kNone},
    {Scope::kConnected, 2, "orderIds", Scope::kNone},
    {Scope::kConnected, 3, "textMessageIds", Scope::kNone},
    {Scope::kConnected, 4, "release", Scope::kNone},
    {Scope::kConnected, 5, "resetMode", Scope::kNone},
    {Scope::kOrder, 1, "orderId", Scope::kNone},
    {Scope::kOrder, 2, "number", Scope::kNone},
    {Scope::kOrder, 3, "orderType", Scope::kNone},
    {Scope::kOrder, 4, "text", Scope::kNone},
    {Scope::kOrder, 5, "allowedActiveStates", Scope::kNone},
    {Scope::kOrder, 6, "destination", Scope::kDestination},
    {Scope::kOrder, 7, "acceptanceRequired", Scope::kNone},
    {Scope::kOrder, 8, "plannedArrival", Scope::kNone},
    {Scope::kOrder, 9, "telephoneNumbers", Scope::kContacts},
    {Scope::kDestination, 1, "latitude", Scope::kNone},
    {Scope::kDestination, 2, "longitude", Scope::kNone},
    {Scope::kDestination, 3, "description", Scope::kNone},
    {Scope::kContact, 1, "name", Scope::kNone},
    {Scope::kContact, 2, "number", Scope::kNone},
    {Scope::kCancel, 1, "orderId", Scope::kNone},
    {Scope::kTextMessage, 1, "messageId", Scope::kNone},
    {Scope::kTextMessage, 2, "text", Scope::kNone},
    {Scope::kConfiguration, 1, "askDriverId", Scope::kNone},
    {Scope::kConfiguration, 2, "logbookEnabled", Scope::kNone},
    {Scope::kConfiguration, 3, "thirdLogbookMode", Scope::kNone},
    {Scope::kConfiguration, 4, "workingTimeEnabled", Scope::kNone},
    {Scope::kConfiguration, 5, "logbookFollowsWorkingTime", Scope::kNone},
    {Scope::kConfiguration, 6, "etaEnabled", Scope::kNone},
    {Scope::kConfiguration, 7, "etaIntervalHome", Scope::kNone},
    {Scope::kConfiguration, 8, "etaIntervalRoaming", Scope::kNone},
    {Scope::kConfiguration, 10, "privacyEnabled", Scope::kNone},
    {Scope::kConfiguration, 11, "resetMode", Scope::kNone},
    {Scope::kReset, 1, "deleteOrders", Scope::kNone},
    {Scope::kReset, 2, "deleteTextMessages", Scope::kNone},
};

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

// The name of key in scope ("" if it has none) and the scope of its children.
std::string NameOf(Scope scope, uint8_t key, Scope& children) {
  for (const KeyName& known : kNames) {
    if (known.scope == scope && known.key == key) {
      children = known.children;
      return known.name;
    }
  }
  children = Scope::kNone;
  return "";
}

// Writes one node's value; containers recurse with the scope of their keys.
class ValueWriter : public quorlan::IMessageNodeVisitor {
 public:
  ValueWriter(std::string& out, Scope scope) : out(out), scope(scope) {}

  void Visit(const quorlan::IntegerMessageNode& node) override { out += std::to_string(node.GetValue()); }
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
    // The elements of the contact list are contacts; elsewhere lists hold
    // plain values.
    const Scope elements = scope == Scope::kContacts ? Scope::kContact : Scope::kNone;
    out += "[";
    bool first = true;
    for (const auto& child : node.GetNodes()) {
      out += first ? "" : ",";
      first = false;
      ValueWriter writer(out, elements);
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
      Scope children = Scope::kNone;
      const std::string name = NameOf(scope, entry.first, children);
      out += (name.empty() ? std::to_string(entry.first) : name) + "=";
      ValueWriter writer(out, children);
      entry.second->Accept(writer);
    }
  }

  std::string& out;
  Scope scope;
};

}  // namespace

std::string PduName(uint16_t id) {
  char text[16];
  std::snprintf(text, sizeof(text), "%u:%X", static_cast<unsigned>(id >> 8),
                static_cast<unsigned>(id & 0xFF));
  return text;
}

std::string Quoted(const std::string& text) {
  return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

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

std::string MessageLine(const quorlan::Message& message) {
  char id[8];
  std::snprintf(id, sizeof(id), "0x%04x", message.GetId());
  const std::string name = MessageName(message.GetId());
  std::string line = std::string(id) + " " + (name.empty() ? "unknown" : name);
  ValueWriter writer(line, MessageScope(message.GetId()));
  message.Accept(writer);
  return line;
}

}  // namespace velarnctl

#include "velarnctl/MsgJson.h"

#include <boost/make_shared.hpp>
#include <cstdio>
#include <limits>
#include <set>
#include <stdexcept>

#include "quorlan/AMessageNode.h"
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

namespace velarnctl {

namespace {

using quorlan::MessageNodePtr;

const struct {
  uint16_t id;
  const char* name;
} kMessages[] = {
    {0x0401, "NewOrderInMsg"},
    {0x0402, "UpdateOrderInMsg"},
    {0x0403, "CancelOrderInMsg"},
    {0x0404, "NewTextMessageInMsg"},
    {0x0405, "ConfigurationInMsg"},
    {0x0406, "ResetInMsg"},
    {0x0501, "StatusEventOutMsg"},
    {0x0502, "OrderStatusEventOutMsg"},
    {0x0503, "OrderWorkflowEventOutMsg"},
    {0x0504, "TextMessageEventOutMsg"},
    {0x0505, "WorkingTimeReportOutMsg"},
    {0x0506, "ETAReportOutMsg"},
    {0x0507, "DriverIdChangedOutMsg"},
    {0x0508, "TextMessageWorkflowEventOutMsg"},
    {0x0580, "NewVelarnConnectedOutMsg"},
    {0x05FF, "ErrorOutMsg"},
};

[[noreturn]] void Fail(const std::string& where, const std::string& what) {
  throw std::invalid_argument(where + ": " + what);
}

// "0x" and hex digits, or decimal digits; nothing else, not even blanks.
bool ParseNumber(const std::string& text, unsigned long long limit, unsigned long long& value) {
  const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
  const std::string digits = hex ? text.substr(2) : text;
  if (digits.empty() || digits.size() > 8) {
    return false;
  }
  value = 0;
  for (const char c : digits) {
    unsigned digit = 0;
    if (c >= '0' && c <= '9') {
      digit = static_cast<unsigned>(c - '0');
    } else if (hex && c >= 'a' && c <= 'f') {
      digit = static_cast<unsigned>(c - 'a' + 10);
    } else if (hex && c >= 'A' && c <= 'F') {
      digit = static_cast<unsigned>(c - 'A' + 10);
    } else {
      return false;
    }
    value = value * (hex ? 16 : 10) + digit;
  }
  return value <= limit;
}

uint16_t IdFromJson(const MessageJson& id) {
  if (id.is_number_unsigned() && id.get<uint64_t>() <= 0xFFFF) {
    return static_cast<uint16_t>(id.get<uint64_t>());
  }
  if (id.is_string()) {
    const std::string text = id.get<std::string>();
    for (const auto& known : kMessages) {
      if (text == known.name) {
        return known.id;
      }
    }
    unsigned long long value = 0;
    if (ParseNumber(text, 0xFFFF, value)) {
      return static_cast<uint16_t>(value);
    }
  }
  Fail("id", "expected 0 to 65535 or a message name, got " + id.dump());
}

MessageNodePtr NodeFromJson(const MessageJson& value, const std::string& where, unsigned depth);

void FillEntries(const MessageJson& object, quorlan::AContainerNode& container, const std::string& where,
                 unsigned depth) {
  std::set<unsigned long long> seen;
  for (auto member = object.begin(); member != object.end(); ++member) {
    unsigned long long key = 0;
    if (!ParseNumber(member.key(), 255, key)) {
      Fail(where, "invalid key \"" + member.key() + "\" (0 to 255, decimal or 0x hex)");
    }
    if (!seen.insert(key).second) {
      Fail(where, "duplicate key " + std::to_string(key));
    }
    container.SetNode(static_cast<uint8_t>(key),
                      NodeFromJson(member.value(), where + "/" + member.key(), depth));
  }
}

MessageNodePtr NodeFromJson(const MessageJson& value, const std::string& where, unsigned depth) {
  switch (value.type()) {
    case MessageJson::value_t::null:
      return boost::make_shared<quorlan::NullMessageNode>();
    case MessageJson::value_t::boolean:
      return boost::make_shared<quorlan::BoolMessageNode>(value.get<bool>());
    case MessageJson::value_t::number_integer:
      return boost::make_shared<quorlan::IntegerMessageNode>(value.get<int64_t>());
    case MessageJson::value_t::number_unsigned:
      if (value.get<uint64_t>() > static_cast<uint64_t>(std::numeric_limits<int64_t>::max())) {
        Fail(where, "integer out of range");
      }
      return boost::make_shared<quorlan::IntegerMessageNode>(value.get<int64_t>());
    case MessageJson::value_t::number_float:
      Fail(where, "not an integer: " + value.dump());
    case MessageJson::value_t::string:
      return boost::make_shared<quorlan::StringMessageNode>(value.get<std::string>());
    case MessageJson::value_t::array: {
      if (depth >= quorlan::kMaxNestingDepth) {
        Fail(where, "nests deeper than " + std::to_string(quorlan::kMaxNestingDepth) + " containers");
      }
      const boost::shared_ptr<quorlan::ListMessageNode> list = boost::make_shared<quorlan::ListMessageNode>();
      for (size_t i = 0; i < value.size(); ++i) {
        list->SetNode(0, NodeFromJson(value[i], where + "/" + std::to_string(i), depth + 1));
      }
      return list;
    }
    case MessageJson::value_t::object: {
      if (value.size() == 1 && value.contains("bytes")) {
        if (!value["bytes"].is_string()) {
          Fail(where + "/bytes", "expected a string of hex digits");
        }
        try {
          return boost::make_shared<quorlan::ByteArrayMessageNode>(
              HexToBuffer(value["bytes"].get<std::string>()));
        } catch (const std::invalid_argument& error) {
          Fail(where + "/bytes", error.what());
        }
      }
      if (depth >= quorlan::kMaxNestingDepth) {
        Fail(where, "nests deeper than " + std::to_string(quorlan::kMaxNestingDepth) + " containers");
      }
      const boost::shared_ptr<quorlan::StructMessageNode> group =
          boost::make_shared<quorlan::StructMessageNode>();
      FillEntries(value, *group, where, depth + 1);
      return group;
    }
    default:
      Fail(where, "unsupported value " + value.dump());
  }
}

// Builds the JSON of one node.
class JsonWriter : public quorlan::IMessageNodeVisitor {
 public:
  static MessageJson Of(const quorlan::AMessageNode& node) {
    JsonWriter writer;
    node.Accept(writer);
    return writer.result;
  }

  void Visit(const quorlan::IntegerMessageNode& node) override { result = node.GetValue(); }
  void Visit(const quorlan::BoolMessageNode& node) override { result = node.GetValue(); }
  void Visit(const quorlan::NullMessageNode&) override { result = nullptr; }
  void Visit(const quorlan::StringMessageNode& node) override { result = node.GetValue(); }
  void Visit(const quorlan::ByteArrayMessageNode& node) override {
    result = MessageJson::object();
    result["bytes"] = BufferToHex(node.GetValue());
  }
  void Visit(const quorlan::StructMessageNode& node) override {
    result = MessageJson::object();
    for (const auto& entry : node.GetNodes()) {
      result[std::to_string(entry.first)] = Of(*entry.second);
    }
  }
  void Visit(const quorlan::ListMessageNode& node) override {
    result = MessageJson::array();
    for (const MessageNodePtr& child : node.GetNodes()) {
      result.push_back(Of(*child));
    }
  }
  void Visit(const quorlan::Message& node) override {
    const std::string name = MessageName(node.GetId());
    char hex[8];
    std::snprintf(hex, sizeof(hex), "0x%04x", node.GetId());
    result = MessageJson::object();
    result["id"] = name.empty() ? std::string(hex) : name;
    MessageJson nodes = MessageJson::object();
    for (const auto& entry : node.GetNodes()) {
      nodes[std::to_string(entry.first)] = Of(*entry.second);
    }
    result["nodes"] = nodes;
  }

 private:
  MessageJson result;
};

}  // namespace

void MessageFromJson(const MessageJson& description, quorlan::Message& message) {
  if (!description.is_object()) {
    Fail("description", "expected an object with \"id\" and \"nodes\"");
  }
  for (auto member = description.begin(); member != description.end(); ++member) {
    if (member.key() != "id" && member.key() != "nodes") {
      Fail("description", "unknown member \"" + member.key() + "\"");
    }
  }
  if (!description.contains("id")) {
    Fail("description", "missing \"id\"");
  }
  quorlan::Message built(IdFromJson(description["id"]));
  if (description.contains("nodes")) {
    const MessageJson& nodes = description["nodes"];
    if (!nodes.is_object()) {
      Fail("nodes", "expected an object of keyed nodes");
    }
    FillEntries(nodes, built, "nodes", 0);
  }
  message = built;
}

MessageJson MessageToJson(const quorlan::Message& message) { return JsonWriter::Of(message); }

std::string MessageName(uint16_t id) {
  for (const auto& known : kMessages) {
    if (known.id == id) {
      return known.name;
    }
  }
  return "";
}

}  // namespace velarnctl

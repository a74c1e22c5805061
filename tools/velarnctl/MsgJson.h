#pragma once

#include <cstdint>
#include <string>

#include <nlohmann/json.hpp>

namespace quorlan {
class Message;
}

// Server messages described in JSON, for tools that produce or show test
// messages (velarnctl msg encode / dump --json; see docs/server-messages.md):
//
//   {"id": "NewTextMessageInMsg", "nodes": {"1": 7, "2": "Hi"}}
//
// id: a number, a hex string ("0x0404") or a message class name. nodes: the
// keyed top-level nodes. A node is a JSON integer (integer node), true/false
// (bool), null (null), a string (string), an array (list), {"bytes": "ab cd"}
// (byte array, hex) or any other object, whose members are keys (struct).
// Keys are decimal ("129") or hex ("0x81"), 0 to 255.
namespace velarnctl {

// Objects keep their members in the order written, so that a message shown
// as JSON lists its keys in ascending order.
typedef nlohmann::ordered_json MessageJson;

// Fills message from a description. Fails with std::invalid_argument whose
// text names the place ("nodes/6/1: ...") on anything that isn't a valid
// description; the writing limits (string length, list size) are left to
// Message::Serialize.
void MessageFromJson(const MessageJson& description, quorlan::Message& message);

// The description of a parsed message: the id by name where it has one,
// else in hex. Strings that aren't UTF-8 have their bad bytes replaced when
// the JSON is printed (dump with error_handler_t::replace).
MessageJson MessageToJson(const quorlan::Message& message);

// The class name of a server message id ("NewOrderInMsg"), "" if unknown.
std::string MessageName(uint16_t id);

}  // namespace velarnctl

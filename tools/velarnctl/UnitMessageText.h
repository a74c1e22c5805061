#pragma once

#include <cstdint>
#include <string>

namespace common {
class Buffer;
}

namespace quorlan {
class Message;
}

// Texts of the unit simulator's output lines, kept stable so that scripts
// can match them.
namespace velarnctl {

// "4:7", "4:B": class and type, the type in upper-case hex above 9.
std::string PduName(uint16_t id);

// A string quoted and escaped as in JSON.
std::string Quoted(const std::string& text);

// A parameter value: quoted text when every byte is printable ASCII (and
// there is at least one), else "hex:" and the bytes ("hex:01", "hex:" for
// an empty value).
std::string ValueText(const common::Buffer& value);

// A parsed server message on one line, its fields named where the message is
// one of the protocol's sixteen:
//
//   0x0503 OrderWorkflowEventOutMsg time=... linkAge=0 orderId=1001 orderType=1 workflowCode=101
//
// Values: integers in decimal, true/false, null, strings quoted, byte arrays
// as "hex:...", structs as {name=value ...}, lists as [value,value]. A key
// without a name is shown as its number; an unknown id as "unknown".
std::string MessageLine(const quorlan::Message& message);

}  // namespace velarnctl

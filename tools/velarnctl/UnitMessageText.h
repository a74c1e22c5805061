#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "velarnctl/Meanings.h"

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
// without a name is shown as its number; an unknown id as "unknown". The
// readable form adds what an integer means behind it, in parentheses: dates
// behind times (which count from 2000), degrees behind coordinates, the
// names of workflow codes, order types and states.
std::string MessageLine(const quorlan::Message& message, OutputForm form = OutputForm::Raw);

// The same as JSON: {"id": "0x0503", "name": "OrderWorkflowEventOutMsg",
// "fields": {"time": ..., "orderId": 1001, ...}}; name null for an unknown
// id, keys without a name by their number, byte arrays as {"bytes": "hex"}.
nlohmann::ordered_json MessageObject(const quorlan::Message& message);

// One value of a PDU line: its name, how the raw form shows it, its JSON
// value and what it means (for the readable form). A bare field shows its
// text without "name=".
struct PduField {
  std::string name;
  std::string text;
  nlohmann::ordered_json json;
  std::string meaning;
  bool bare = false;
};

PduField NumberField(const std::string& name, int64_t value, const std::string& meaning = "");
PduField TextField(const std::string& name, const std::string& value);  // quoted as JSON
// A parameter's value as ValueText shows it, or "notfound" without one; in
// JSON a string or {"bytes": "hex"}, null without one.
PduField ParamValueField(const common::Buffer* value);

// What the unit simulator prints about one PDU: its name ("4:7") and fields,
// and the lines that follow the PDU's own line in the text forms (the server
// message it carries) with msg, the same message as JSON.
struct PduReport {
  std::string pdu;
  std::vector<PduField> fields;
  std::vector<std::string> more;
  nlohmann::ordered_json msg;
};

// The fields as "name=value ...", with meanings in the readable form.
std::string FieldsText(OutputForm form, const std::vector<PduField>& fields);

// The report as printed: "<- pdu 4:7 size=22" (received) or "-> pdu ..."
// and the further lines, note in parentheses at the end of the last one; or
// one JSON object {"dir": "in"|"out", "pdu": "4:7", "size": 22, "msg":
// {...}, "note": "..."}.
std::string ReportText(OutputForm form, bool received, const PduReport& report, const std::string& note = "");

}  // namespace velarnctl

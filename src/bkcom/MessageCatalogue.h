#pragma once

// A description of every message class of the navigation link as data: its
// number, name, direction and its fields with their full names, in the order
// in which Encode writes them. The daemon itself doesn't need it; tools and
// tests use it to show, build and check messages of any class without a
// line of code per class.

#include <string>
#include <vector>

class CBrenikCommunicationMessage;
class CVelarnMessage;

namespace bkcom {

enum class FieldKind { Int8, Uint8, Uint16, Int32, Uint32, Bool, Text };

struct FieldInfo {
  std::string name;  // full name on the wire, record prefixes included
  FieldKind kind;
  int textSize;  // Text: the reader's buffer, terminator included; else 0
};

// In: from the navigation application to the daemon; Out: the other way.
enum class Direction { In, Out, Both };

struct MessageInfo {
  int id;
  const char* className;
  Direction direction;
  std::vector<FieldInfo> fields;  // bases' fields first, as on the wire
  CVelarnMessage* (*create)();    // a new, empty object the caller owns
};

// All 48 classes, by number.
const std::vector<MessageInfo>& MessageCatalogue();
// Null if no class has this number or name.
const MessageInfo* FindMessageInfo(int id);
const MessageInfo* FindMessageInfo(const std::string& className);

// The value of a field of message as text: a number in decimal, a flag as 1
// or 0, a text as the daemon reads it (cut to the field's buffer). False if
// the field is missing or of another type.
bool ReadFieldValue(CBrenikCommunicationMessage& message, const FieldInfo& field, std::string& value);

}  // namespace bkcom

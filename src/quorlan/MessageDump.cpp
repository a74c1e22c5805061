#include "quorlan/MessageDump.h"

#include <time.h>

#include <ostream>

#include "common/CivilTime.h"
#include "common/Time.h"
#include "quorlan/BoolMessageNode.h"
#include "quorlan/ByteArrayMessageNode.h"
#include "quorlan/IntegerMessageNode.h"
#include "quorlan/ListMessageNode.h"
#include "quorlan/Message.h"
#include "quorlan/NullMessageNode.h"
#include "quorlan/StringMessageNode.h"
#include "quorlan/StructMessageNode.h"

namespace quorlan {

std::string MessageDump::TimeText(int64_t value) {
  // Beyond this the server counts in milliseconds.
  const int64_t kLastSeconds = 10000000000LL;
  // Both sums stay inside 64 bits: seconds are at most kLastSeconds, and
  // milliseconds are divided before the epoch is added (the epoch in
  // milliseconds is a whole number of seconds, so the result is the same).
  const int64_t seconds =
      value <= kLastSeconds ? value + common::kEpoch2000 : value / 1000 + common::kEpoch2000;
  struct tm parts;
  char text[64];
  if (!common::ToUtc(seconds, parts) || asctime_r(&parts, text) == nullptr) {
    return "time out of range";
  }
  std::string result(text);
  if (!result.empty() && result.back() == '\n') {
    result.pop_back();
  }
  return result;
}

void MessageDump::Dump(const AMessageNode& node) {
  indent = 0;
  node.Accept(*this);
}

void MessageDump::Visit(const IntegerMessageNode& node) {
  stream << "Integer: " << node.GetValue() << " (" << TimeText(node.GetValue()) << ")" << std::endl;
}

void MessageDump::Visit(const BoolMessageNode& node) {
  stream << "Boolean: " << (node.GetValue() ? "true" : "false") << std::endl;
}

void MessageDump::Visit(const NullMessageNode&) { stream << "NULL" << std::endl; }

void MessageDump::Visit(const StringMessageNode& node) {
  stream << "String: " << node.GetValue() << std::endl;
}

void MessageDump::Visit(const ByteArrayMessageNode& node) {
  stream << "ByteArray: " << node.GetValue() << std::endl;
}

void MessageDump::Visit(const StructMessageNode& node) {
  stream << "Struct with " << node.GetCount() << " MessageNode(s):" << std::endl;
  ++indent;
  for (const auto& entry : node.GetNodes()) {
    Child(entry.first, *entry.second);
  }
  --indent;
}

void MessageDump::Visit(const ListMessageNode& node) {
  stream << "List with " << node.GetCount() << " MessageNode(s):" << std::endl;
  ++indent;
  unsigned position = 0;
  for (const MessageNodePtr& child : node.GetNodes()) {
    Child(position++, *child);
  }
  --indent;
}

void MessageDump::Visit(const Message& node) {
  stream << "Message " << node.GetId() << " with " << node.GetCount() << " MessageNode(s):" << std::endl;
  ++indent;
  for (const auto& entry : node.GetNodes()) {
    Child(entry.first, *entry.second);
  }
  --indent;
}

void MessageDump::Child(unsigned key, const AMessageNode& child) {
  stream << std::string(static_cast<std::string::size_type>(indent) * 4, ' ') << "[" << key << "] ";
  child.Accept(*this);
}

std::ostream& operator<<(std::ostream& stream, const AMessageNode& node) {
  MessageDump dump(stream);
  dump.Dump(node);
  return stream;
}

}  // namespace quorlan

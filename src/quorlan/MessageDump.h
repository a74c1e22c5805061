#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>

#include "quorlan/IMessageNodeVisitor.h"

namespace quorlan {

class AMessageNode;

// Writes a node tree as indented text, one line per node, for diagnosis:
//
//   Message 1028 with 2 MessageNode(s):
//       [1] Integer: 7 (Sat Jan  1 00:00:07 2000)
//       [2] String: Hi
//
// Every child line starts with four blanks per level and its key (or list
// position) in brackets; a container's own line continues the line its
// parent began.
class MessageDump : public IMessageNodeVisitor {
 public:
  explicit MessageDump(std::ostream& stream) : stream(stream), indent(0) {}

  // Starts at indentation 0 on every call.
  void Dump(const AMessageNode& node);

  void Visit(const IntegerMessageNode& node) override;
  void Visit(const BoolMessageNode& node) override;
  void Visit(const NullMessageNode& node) override;
  void Visit(const StringMessageNode& node) override;
  void Visit(const ByteArrayMessageNode& node) override;
  void Visit(const StructMessageNode& node) override;
  void Visit(const ListMessageNode& node) override;
  void Visit(const Message& node) override;

  // An integer read as a time since 2000-01-01 00:00:00 UTC, in the form of
  // asctime without its newline: up to 10,000,000,000 (negative values
  // included) as seconds, above as milliseconds. A value whose year has no
  // four-digit form gives "time out of range".
  static std::string TimeText(int64_t value);

 private:
  void Child(unsigned key, const AMessageNode& child);

  std::ostream& stream;
  int indent;
};

std::ostream& operator<<(std::ostream& stream, const AMessageNode& node);

}  // namespace quorlan

#pragma once

#include <iosfwd>

namespace quorlan {
class AIncomingMessage;
}

namespace velarnctl {

// Writes the typed fields of an incoming server message, one per line in
// the order they are read, with their state:
//
//   NewTextMessageInMsg:
//     messageId: 7
//     text: "Hi"
//
// Absent and null fields say so; strings are quoted as in JSON; times
// since 2000 are followed by their date.
void PrintFields(std::ostream& out, const quorlan::AIncomingMessage& message);

}  // namespace velarnctl

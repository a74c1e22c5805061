#pragma once

// How velarnctl nav shows a message of the navigation link: one line, the
// class name and then its fields as Name=value in the order of the wire:
//
//   COrderReceivedEvent Order_.Id=1001 Order_.SKey=4 ... Order_.Num="A-17" ...
//
// Record fields show their prefixes with a dot behind each ("Order_Dest_Lat"
// is Order_.Dest_.Lat), flags are true/false, texts are quoted with C escapes
// (\" \\ \n \r \t \xNN) so that a line never breaks and a script can match
// it. "MessageID" isn't shown: the class name says it.
//
// The readable form adds what a number means behind it, in parentheses:
// "Error=1 (carried out)", "Order_.State=2 (read, to be accepted)", a date
// behind every time, degrees behind every coordinate. The JSON form is one
// object per message: {"dir": "in", "class": "CAcknowledge", "fields":
// {"ActionId": 3, "Error": 1}}, the fields under their names on the wire.

#include <string>

#include "velarnctl/Meanings.h"

class CBrenikCommunicationMessage;

namespace velarnctl {

// The line of a library message: its class and fields; "? MessageID=N" for a
// number of no class, "? (no MessageID)" without one, and for a message that
// its class can't decode the class with the first bad field:
// "CGPSEvent (malformed: Sat missing or of another type)". In JSON,
// received tells "dir" ("in" or "out"); a message of no class has "class"
// null, a malformed one "malformed" with the first bad field.
std::string FormatNavMessage(CBrenikCommunicationMessage& message, OutputForm form = OutputForm::Raw,
                             bool received = true);

// "Order_Dest_Lat" -> "Order_.Dest_.Lat".
std::string DisplayFieldName(const std::string& wireName);

std::string QuoteText(const std::string& text);

}  // namespace velarnctl

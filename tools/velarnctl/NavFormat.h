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

#include <string>

class CBrenikCommunicationMessage;

namespace velarnctl {

// The line of a library message: its class and fields; "? MessageID=N" for a
// number of no class, "? (no MessageID)" without one, and for a message that
// its class can't decode the class with the first bad field:
// "CGPSEvent (malformed: Sat missing or of another type)".
std::string FormatNavMessage(CBrenikCommunicationMessage& message);

// "Order_Dest_Lat" -> "Order_.Dest_.Lat".
std::string DisplayFieldName(const std::string& wireName);

std::string QuoteText(const std::string& text);

}  // namespace velarnctl

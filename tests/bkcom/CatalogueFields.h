#pragma once

// Helpers of the message tests: library messages filled from the
// catalogue's description, and their fields as one comparable string.

#include <string>
#include <vector>

#include "bkcom/BrenikCommunicationMessage.h"
#include "bkcom/MessageCatalogue.h"

namespace bkcomtest {

// Sets every field of info to a value of its own (seed varies the numbers and
// flips the flags; a text fills its buffer, plus textExtra characters). skip
// names a field to leave out, wrongType one to set with a type it hasn't.
void FillMessage(CBrenikCommunicationMessage& message, const bkcom::MessageInfo& info, int seed,
                 const std::string& skip = "", const std::string& wrongType = "", int textExtra = 0);

// "Name=value ..." of every field of info, as bkcom::ReadFieldValue reads
// them; "Name=?" for one that can't be read.
std::string DescribeFields(CBrenikCommunicationMessage& message, const bkcom::MessageInfo& info);
// What DescribeFields gives for a message that FillMessage filled.
std::string ExpectedFields(const bkcom::MessageInfo& info, int seed);

// The keys of a library message in the order in which they were first set.
std::vector<std::string> FieldKeys(const CBrenikCommunicationMessage& message);

}  // namespace bkcomtest

#pragma once

// Helpers of the message tests: library messages built from the catalogue's
// description, and reading fields back in any type.

#include <string>
#include <vector>

#include "bkcom/BrenikCommunicationMessage.h"
#include "bkcom/MessageCatalogue.h"

namespace bkcomtest {

// A distinct value per field (seed varies numbers and flips the flags); a
// text is as long as its buffer allows, plus extra characters.
std::string TextValue(const bkcom::FieldInfo& field, int index, int seed, int extra = 0);
long long NumberValue(const bkcom::FieldInfo& field, int index, int seed);

// Sets field to its value; skip names a field to leave out, and wrongType
// sets that one with a type it doesn't have.
void FillMessage(CBrenikCommunicationMessage& message, const bkcom::MessageInfo& info, int seed,
                 const std::string& skip = "", const std::string& wrongType = "", int textExtra = 0);

// The field read as its kind: a number, or the text. False if it fails.
bool ReadField(CBrenikCommunicationMessage& message, const bkcom::FieldInfo& field, long long& number,
               std::string& text);

// The keys of a library message in the order in which they were first set.
std::vector<std::string> FieldKeys(const CBrenikCommunicationMessage& message);

}  // namespace bkcomtest

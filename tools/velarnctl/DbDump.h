#pragma once

#include <iosfwd>

#include <nlohmann/json.hpp>

#include "velarnctl/Meanings.h"

namespace data {
class Database;
}

namespace velarnctl {

// A database for a person: every order with its state and fields, the text
// messages, both status lists, the working time, the configuration, and the
// unit's and the navigation application's records. Times in UTC beside
// their stored numbers, names beside numbered values; in the raw form the
// stored numbers alone. Only the first sections of these, in this order,
// the members of Database, if a damaged file was read no further.
void PrintDatabase(std::ostream& out, const data::Database& database, unsigned sections = 9,
                   OutputForm form = OutputForm::Readable);

// The same for machines: the members under their names in the code, times
// as the stored numbers.
nlohmann::json DatabaseToJson(const data::Database& database);

}  // namespace velarnctl

#pragma once

#include <cstddef>
#include <streambuf>
#include <string>

namespace data {

class Database;

// Database::Load and Save in their throwing form, for callers that want to
// tell why (the velarnctl tool). Failures are IOException for the file
// system and ParseException for a file that isn't a good database.

// Above this a file can't come from the daemon (its lists are bounded), and
// is refused before it is read.
constexpr std::size_t kMaxDatabaseFileSize = 64u * 1024u * 1024u;

// Writes the archive of database into out.
void WriteDatabase(const Database& database, std::streambuf& out);
std::string EncodeDatabase(const Database& database);

// Replaces every member of database but its path by those read from bytes.
// On failure database is left as it was.
void DecodeDatabase(const char* bytes, std::size_t size, Database& database);
void DecodeDatabase(const std::string& bytes, Database& database);

// Reads the file at path into database (path member untouched).
void ReadDatabaseFile(const std::string& path, Database& database);

// Writes database aside and renames it over path (common/ReplaceFile.h: a
// crash leaves the old or the new complete file; links, mode and owner, and
// the in-place way out are told there). Without synchronise nothing is
// flushed to the disk (for measurements).
void WriteDatabaseFile(const Database& database, const std::string& path, bool synchronise = true);

}  // namespace data

#pragma once

#include <cstddef>
#include <streambuf>
#include <string>
#include <vector>

namespace data {

class Database;

// Database::Load and Save in their throwing form, for callers that want to
// tell why (the velarnctl tool). Failures are IOException for the file
// system and ParseException for a file that isn't a good database.

// Above this a file can't come from the daemon (its lists are bounded), and
// is refused before it is read.
constexpr std::size_t kMaxDatabaseFileSize = 64u * 1024u * 1024u;

// The number of members of Database in the file.
constexpr unsigned kDatabaseMembers = 9;

// What reading a database found besides the records (see "Reading files of
// other writers" in docs/database-format.md).
struct DatabaseReport {
  // Content that Boost's own reader accepts but that breaks a rule of ours,
  // and what was done about it, in the order found.
  std::vector<std::string> repairs;

  // A damaged file: where reading stopped (the offset of the item that
  // couldn't be read), and why.
  bool damaged = false;
  std::size_t damageOffset = 0;
  std::string damage;
  // The members of Database read whole, counted in file order; after a
  // damage in one of the four lists, that list holds the whole records read
  // before it (partialList).
  unsigned wholeMembers = kDatabaseMembers;
  bool partialList = false;

  // "stopped at byte offset N in the text messages: why".
  std::string DescribeDamage() const;
};

// Writes the archive of database into out.
void WriteDatabase(const Database& database, std::streambuf& out);
std::string EncodeDatabase(const Database& database);

// Reads bytes into database as far as they go: every member but path is
// replaced, and after a damage database holds what was read whole before
// it (the report tells how much); the rest is at its defaults. Throws only
// for lack of memory.
DatabaseReport ReadDatabase(const char* bytes, std::size_t size, Database& database);

// All or nothing: replaces every member of database but its path by those
// read from bytes, or throws ParseException telling where and why the bytes
// are damaged and leaves database as it was. Returns the repairs made.
std::vector<std::string> DecodeDatabase(const char* bytes, std::size_t size, Database& database);
std::vector<std::string> DecodeDatabase(const std::string& bytes, Database& database);

// The file at path read by ReadDatabase, as far as it goes. Throws
// IOException if it can't be opened or read, ParseException if it is no
// regular file or larger than kMaxDatabaseFileSize.
DatabaseReport InspectDatabaseFile(const std::string& path, Database& database);

// The file at path, all or nothing (path member untouched): throws as
// InspectDatabaseFile does, and ParseException for a damaged file. Returns
// the repairs made.
std::vector<std::string> ReadDatabaseFile(const std::string& path, Database& database);

constexpr char kDamagedSuffix[] = ".damaged";

// Keeps an unreadable file for the operator: renames the file at path (the
// file that a symbolic link at path points to) to the same name with
// ".damaged" appended, replacing an older one. Nothing is copied, and a link
// standing at the new name is replaced, not followed. Returns the new name,
// or an empty string if there was no regular file with content to keep or
// the rename failed.
std::string KeepDamagedFile(const std::string& path);

// Writes database aside and renames it over path (common/ReplaceFile.h: a
// crash leaves the old or the new complete file; links, mode and owner, and
// the in-place way out are told there). Without synchronise nothing is
// flushed to the disk (for measurements).
void WriteDatabaseFile(const Database& database, const std::string& path, bool synchronise = true);

}  // namespace data

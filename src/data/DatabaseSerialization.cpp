// The database archive in one translation unit: Boost.Serialization's
// templates are expensive to compile, and only the database file needs them.
#include <sstream>
#include <string>
#include <utility>

#include "data/DatabaseFile.h"
#include "data/RecordSerialization.h"

namespace data {

namespace {

// Every element of every collection in the file takes at least 4 bytes:
// a telephone book entry has two string lengths and a list element a key
// and a record, but an element of a tracked class may be no more than the
// 4-byte id of an earlier object.
constexpr std::size_t kMinimumElementSize = 4;

const std::size_t kHeaderSize = 35;

// Which member of database is at address, or kDatabaseMembers.
unsigned MemberAt(const Database& database, const void* address) {
  const void* const members[kDatabaseMembers] = {
      &database.orders,        &database.textMessages, &database.statuses,
      &database.orderStatuses, &database.workingTime,  &database.sortKeys,
      &database.config,        &database.velarn,       &database.zu};
  for (unsigned i = 0; i < kDatabaseMembers; ++i) {
    if (members[i] == address) {
      return i;
    }
  }
  return kDatabaseMembers;
}

// The members as a person names them.
const char* const kMemberNames[kDatabaseMembers] = {"orders",         "text messages", "statuses",
                                                    "order statuses", "working time",  "sort key generator",
                                                    "configuration",  "unit record",   "navigation record"};

}  // namespace

std::string DatabaseReport::DescribeDamage() const {
  std::string where;
  if (damageOffset < kHeaderSize) {
    where = "the header";
  } else if (wholeMembers < kDatabaseMembers && (partialList || wholeMembers > 0)) {
    where = std::string("the ") + kMemberNames[wholeMembers];
  } else {
    where = "the database's preamble";
  }
  return "stopped at byte offset " + std::to_string(damageOffset) + " in " + where + ": " + damage;
}

void WriteDatabase(const Database& database, std::streambuf& out) {
  BinaryOArchive archive(out);
  archive << database;
}

std::string EncodeDatabase(const Database& database) {
  std::stringbuf out(std::ios::out | std::ios::binary);
  WriteDatabase(database, out);
  return out.str();
}

DatabaseReport ReadDatabase(const char* bytes, std::size_t size, Database& database) {
  DatabaseReport report;
  Database loaded(database.path);
  ArchiveInput input(bytes, size);
  unsigned hit = kDatabaseMembers;  // the member in which a damage was found
  try {
    BinaryIArchive archive(input, kMinimumElementSize);
    try {
      archive >> loaded;
    } catch (const std::exception&) {
      report.repairs = archive.Repairs();
      hit = MemberAt(loaded, archive.CurrentMember());
      throw;
    }
    report.repairs = archive.Repairs();
  } catch (const std::exception& error) {
    report.damaged = true;
    report.damageOffset = input.ItemOffset();
    report.damage = error.what();
    report.wholeMembers = hit < kDatabaseMembers ? hit : 0;
    report.partialList = hit < 4;
    // The members behind the damage were never reached. Of the one it hit,
    // a list keeps its whole records; a plain record goes back to its
    // defaults, for half of it wasn't read.
    Database fresh(database.path);
    switch (hit) {
      case 4:
        loaded.workingTime = fresh.workingTime;
        break;
      case 5:
        loaded.sortKeys = fresh.sortKeys;
        break;
      case 6:
        loaded.config = fresh.config;
        break;
      case 7:
        loaded.velarn = fresh.velarn;
        break;
      case 8:
        loaded.zu = fresh.zu;
        break;
      default:
        break;
    }
  }
  if (!report.damaged && input.Remaining() != 0) {
    // Boost's reader stops at the end of the object too: what follows is no
    // part of the database (writing a shorter file over a longer one in
    // place leaves such a tail).
    report.repairs.push_back(std::to_string(input.Remaining()) +
                             " bytes after the end of the database at byte offset " +
                             std::to_string(input.Consumed()) + " ignored");
  }
  database = std::move(loaded);
  return report;
}

std::vector<std::string> DecodeDatabase(const char* bytes, std::size_t size, Database& database) {
  Database loaded(database.path);
  DatabaseReport report = ReadDatabase(bytes, size, loaded);
  if (report.damaged) {
    throw ParseException(report.DescribeDamage());
  }
  database = std::move(loaded);
  return std::move(report.repairs);
}

std::vector<std::string> DecodeDatabase(const std::string& bytes, Database& database) {
  return DecodeDatabase(bytes.data(), bytes.size(), database);
}

}  // namespace data

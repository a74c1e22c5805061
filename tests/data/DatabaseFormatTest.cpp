// The database file byte for byte: expected files are built here from the
// layout rules alone (preambles, widths, order of members), independently of
// the archive code.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <string>

#include "data/Database.h"
#include "data/DatabaseFile.h"
#include "data/SampleDatabase.h"
#include "support/TempDir.h"

namespace {

using data::Database;

class Bytes {
 public:
  Bytes& U8(unsigned value) {
    text.push_back(static_cast<char>(value & 0xFF));
    return *this;
  }
  Bytes& U16(unsigned value) { return U8(value).U8(value >> 8); }
  Bytes& U32(uint32_t value) { return U16(value & 0xFFFF).U16(value >> 16); }
  Bytes& U64(uint64_t value) {
    return U32(static_cast<uint32_t>(value)).U32(static_cast<uint32_t>(value >> 32));
  }
  Bytes& Zeros(std::size_t count) {
    text.append(count, '\0');
    return *this;
  }
  Bytes& Str(const std::string& value) {
    U32(static_cast<uint32_t>(value.size()));
    text += value;
    return *this;
  }
  // Tracking flag 0 and the class version, at a class's first object.
  Bytes& Preamble(unsigned version) { return U8(0).U8(version); }

  std::string text;
};

std::string Count(uint32_t count) { return Bytes().U32(count).text; }

testing::AssertionResult SameBytes(const std::string& expected, const std::string& actual) {
  if (expected == actual) {
    return testing::AssertionSuccess();
  }
  std::size_t at = 0;
  while (at < expected.size() && at < actual.size() && expected[at] == actual[at]) {
    ++at;
  }
  return testing::AssertionFailure() << "sizes " << expected.size() << " and " << actual.size()
                                     << ", first difference at offset " << at;
}

// The pieces of a file that the tests vary; everything else is a new database.
struct Layout {
  unsigned configVersion = 3;
  unsigned velarnVersion = 2;
  unsigned zuVersion = 2;
  std::string orders = Count(0);         // count and elements, after the map's preamble
  std::string statuses = Count(0);       // likewise
  std::string orderStatuses = Count(0);  // the whole list: its classes were seen before
  bool positionSeen = false;             // an order held the first Position
  // Values the old-version tests look for: askDriverId, etaIntervalHome,
  // odometer, driverId, logbookMode.
  bool marked = false;
};

std::string File(const Layout& layout) {
  Bytes b;
  b.U32(22).text += "serialization::archive";
  b.U8(3).U8(4).U8(4).U8(4).U8(8).U32(1);
  b.Preamble(1).Preamble(1).Preamble(0).Preamble(0).text +=
      layout.orders;                 // Database, OrderList, ObjectList, map
  b.Preamble(0).Preamble(0).U32(0);  // text messages
  b.Preamble(0).Preamble(0).text += layout.statuses;
  b.text += layout.orderStatuses;
  b.Preamble(0).U32(3).Zeros(20);  // working time
  b.Preamble(1).U32(1);            // sort keys
  b.Preamble(layout.configVersion);
  if (layout.configVersion >= 2) {
    b.U8(0);  // configured
  }
  b.U8(layout.marked ? 1 : 0).Zeros(5).U32(layout.marked ? 900 : 600).U32(3600).U8(0);
  if (layout.configVersion >= 2) {
    b.U8(0);  // resetMode
  }
  if (layout.configVersion >= 3) {
    b.U32(0);  // newSessionBoundary
  }
  b.Preamble(layout.velarnVersion).U64(0).Preamble(1).U8('V');
  if (!layout.positionSeen) {
    b.Preamble(1);
  }
  b.Zeros(8).Zeros(9).U32(layout.marked ? 31337 : 0).U32(0).Zeros(2).Preamble(1).Zeros(21);
  if (layout.velarnVersion >= 2) {
    b.U8(0);  // gpsFeedEnabled
  }
  b.Preamble(layout.zuVersion).Zeros(8).U32(layout.marked ? 7 : 0).U64(0).U8('V').Zeros(17);
  b.U32(layout.marked ? 4 : 3);
  if (layout.zuVersion >= 2) {
    b.Zeros(12);
  }
  return b.text;
}

TEST(DatabaseFormatTest, NewDatabaseIsTheDocumentedBytes) {
  const std::string expected = File(Layout());
  ASSERT_EQ(244u, expected.size());
  EXPECT_TRUE(SameBytes(expected, data::EncodeDatabase(Database("unused"))));

  testsupport::TempDir folder;
  Database database(folder.File("db"));
  ASSERT_TRUE(database.Save());
  EXPECT_TRUE(SameBytes(expected, testsupport::ReadFile(folder.File("db"))));
}

TEST(DatabaseFormatTest, OrderLayoutAndPreamblesAtFirstUse) {
  Database database("unused");
  data::Order order(5, "N", "T");
  order.sortKey = 2;
  order.arrivalTime = 3;
  order.lastChangeTime = 4;
  order.destination = data::Position(6, -7);
  order.destinationDescription = "D";
  order.type = data::Order::Type2;
  order.state = data::Order::StateNewToAccept;
  order.allowedActiveStates = 3;
  order.plannedArrival = 8;
  order.telephoneBook.emplace_back("12", "x");
  order.telephoneBook.emplace_back("3", "");
  database.orders.insert({5, order});

  Layout layout;
  layout.positionSeen = true;
  Bytes orders;
  orders.U32(1).Preamble(0).U32(5);                                   // pair, key
  orders.Preamble(1).Preamble(1).Preamble(1).U32(5);                  // Order, InboxEntry, Object: id
  orders.Str("T").U32(2).U32(3).U32(4).Str("N");                      // text .. lastChangeTime, number
  orders.Preamble(1).U32(6).U32(static_cast<uint32_t>(-7)).Str("D");  // destination, description
  orders.U32(2).U32(1).U32(1).U32(3).U32(8);                          // type .. plannedArrival
  orders.Preamble(0).U32(2).Preamble(1).Str("12").Str("x").Str("3").Str("");  // vector of entries
  layout.orders = orders.text;
  EXPECT_TRUE(SameBytes(File(layout), data::EncodeDatabase(database)));
}

TEST(DatabaseFormatTest, OneStatusPreambleWhicheverListHoldsTheFirst) {
  Database database("unused");
  database.orderStatuses.insert({7, data::Status(7, "a")});
  database.orderStatuses.insert({9, data::Status(9, "bc")});

  Layout onlyOrderStatuses;
  onlyOrderStatuses.orderStatuses =
      Bytes().U32(2).Preamble(0).U32(7).Preamble(1).Preamble(1).U32(7).Str("a").U32(9).U32(9).Str("bc").text;
  EXPECT_TRUE(SameBytes(File(onlyOrderStatuses), data::EncodeDatabase(database)));

  database.statuses.insert({1, data::Status(1, "x")});
  database.statuses.insert({2, data::Status(2, "")});
  Layout both;
  both.statuses =
      Bytes().U32(2).Preamble(0).U32(1).Preamble(1).Preamble(1).U32(1).Str("x").U32(2).U32(2).Str("").text;
  both.orderStatuses = Bytes().U32(2).U32(7).U32(7).Str("a").U32(9).U32(9).Str("bc").text;
  EXPECT_TRUE(SameBytes(File(both), data::EncodeDatabase(database)));
}

TEST(DatabaseFormatTest, OlderClassVersionsLoadWithLaterFieldsAtDefaults) {
  Layout old;
  old.configVersion = 1;
  old.velarnVersion = 1;
  old.zuVersion = 1;
  old.marked = true;
  testsupport::TempDir folder;
  testsupport::WriteFile(folder.File("db"), File(old));

  // Whatever the object held before, the fields the file lacks are defaults:
  // saved again, it is the latest form of the same values.
  Database database = testdata::FullDatabase(folder.File("db"));
  ASSERT_TRUE(database.Load());
  ASSERT_TRUE(database.Save());
  Layout latest;
  latest.marked = true;
  EXPECT_TRUE(SameBytes(File(latest), testsupport::ReadFile(folder.File("db"))));

  // Version 2 of the configuration has configured and resetMode, not the boundary.
  Layout two;
  two.configVersion = 2;
  data::DecodeDatabase(File(two), database);
  EXPECT_TRUE(SameBytes(File(Layout()), data::EncodeDatabase(database)));
}

// Refusals through Load(): false, and a new database in memory.
void ExpectRefused(const std::string& content, const std::string& why) {
  testsupport::TempDir folder;
  testsupport::WriteFile(folder.File("db"), content);
  Database database = testdata::FullDatabase(folder.File("db"));
  EXPECT_FALSE(database.Load()) << why;
  EXPECT_TRUE(data::EncodeDatabase(Database("new")) == data::EncodeDatabase(database)) << why;
  EXPECT_EQ(folder.File("db"), database.path);
}

TEST(DatabaseFormatTest, HeaderAndBodyChecksRefuseTheFile) {
  const std::string good = File(Layout());
  auto damaged = [&good](std::size_t offset, char value) {
    std::string bytes = good;
    bytes[offset] = value;
    return bytes;
  };
  ExpectRefused("", "empty file");
  ExpectRefused(damaged(26, 4), "library version 4");
  ExpectRefused(damaged(10, 'X'), "another signature");
  ExpectRefused(damaged(0, 21), "another signature length");
  for (std::size_t offset = 27; offset < 31; ++offset) {
    ExpectRefused(damaged(offset, 2), "type size at " + std::to_string(offset));
  }
  ExpectRefused(damaged(31, 2), "another byte order check");

  Layout hostile;
  hostile.orders = Count(0xFFFFFFFFu);
  ExpectRefused(File(hostile), "4 billion orders");
  hostile.orders =
      Bytes().U32(1).Preamble(0).U32(1).Preamble(1).Preamble(1).Preamble(1).U32(1).U32(0xFFFFFFF0u).text;
  ExpectRefused(File(hostile), "a string of 4 GB");
  hostile = Layout();
  hostile.configVersion = 4;
  ExpectRefused(File(hostile), "configuration of a later version");

  // A telephone book of 4 billion entries, refused before anything is reserved.
  Database database("unused");
  data::Order order(1, "", "");
  order.telephoneBook.emplace_back("1", "");
  database.orders.insert({1, order});
  std::string withBook = data::EncodeDatabase(database);
  const std::size_t book = withBook.find(Bytes().Preamble(0).U32(1).Preamble(1).Str("1").text);
  ASSERT_NE(std::string::npos, book);
  withBook.replace(book + 2, 4, Count(0xFFFFFFFFu));
  ExpectRefused(withBook, "4 billion telephone entries");
}

// Every offset of a database with every kind of record (two orders, messages
// and statuses of each kind, short texts): a cut anywhere is refused, and
// nothing of the cut file remains.
TEST(DatabaseFormatTest, FileCutAtEveryOffsetIsRefused) {
  const std::string bytes = data::EncodeDatabase(testdata::FullDatabase("", 2, 3));
  Database database("unused");
  for (std::size_t cut = 0; cut < bytes.size(); ++cut) {
    EXPECT_THROW(data::DecodeDatabase(bytes.data(), cut, database), std::exception) << "cut at " << cut;
  }
  EXPECT_TRUE(database.orders.empty());
  EXPECT_EQ(1u, database.sortKeys.Current());
}

TEST(DatabaseFormatTest, SeedCorpusIsTheCurrentEncoding) {
  // The fuzz target's seeds: a new and a full database. VELARND_UPDATE_SEEDS=1
  // rewrites them after an intended change of the format.
  const std::string folder = std::string(VELARND_SOURCE_DIR) + "/fuzz/corpus/database_load/";
  const std::string newDatabase = data::EncodeDatabase(Database("unused"));
  const std::string fullDatabase = data::EncodeDatabase(testdata::FullDatabase());
  if (std::getenv("VELARND_UPDATE_SEEDS") != nullptr) {
    testsupport::WriteFile(folder + "new.db", newDatabase);
    testsupport::WriteFile(folder + "full.db", fullDatabase);
  }
  EXPECT_TRUE(SameBytes(newDatabase, testsupport::ReadFile(folder + "new.db")));
  EXPECT_TRUE(SameBytes(fullDatabase, testsupport::ReadFile(folder + "full.db")));
}

}  // namespace

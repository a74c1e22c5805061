// Files of other writers: every form that Boost's own binary_iarchive reads
// for our records, and content that it accepts but that breaks our rules.
// Each variant is written twice: in the device's form for our reader, and
// with this machine's own sizes for Boost's stock reader, whose result ours
// must equal: string lengths as wide as std::size_t and the header's long (8
// bytes on a 64-bit machine, the device's 4 under qemu on 32-bit ARM). That is
// the one difference between the two platforms' native binary archives here.
#include <gtest/gtest.h>

#include <cstdint>
#include <sstream>
#include <string>

#include <boost/archive/binary_iarchive.hpp>
#include <boost/archive/binary_oarchive_impl.hpp>
#include <boost/archive/impl/archive_serializer_map.ipp>
#include <boost/archive/impl/basic_binary_oarchive.ipp>
#include <boost/archive/impl/basic_binary_oprimitive.ipp>

#include "data/DatabaseFile.h"
#include "data/RecordSerialization.h"
#include "data/SampleDatabase.h"

namespace {

// Writes what older or foreign writers wrote: library versions 0 to 3 (class
// versions in 4 bytes up to 2), string lengths of the device or of the host.
class FormOArchive : public boost::archive::binary_oarchive_impl<FormOArchive, char, std::char_traits<char>> {
  using Base = boost::archive::binary_oarchive_impl<FormOArchive, char, std::char_traits<char>>;

 public:
  FormOArchive(std::streambuf& out, unsigned libraryVersion, bool host)
      : Base(out, boost::archive::no_header | boost::archive::no_codecvt),
        version(libraryVersion),
        host(host) {
    save(std::string("serialization::archive"));
    const unsigned char longSize = host ? sizeof(long) : 4;
    const unsigned char rest[] = {static_cast<unsigned char>(version), 4, longSize, 4, 8, 1, 0, 0, 0};
    save_binary(rest, sizeof(rest));
  }
  boost::serialization::library_version_type get_library_version() const {
    return boost::serialization::library_version_type(version);
  }

  // Boost's archive code calls these through the derived class.
  template <class T>
  void save_override(const T& t) {
    Base::save_override(t);
  }
  void save_override(const boost::archive::version_type& v) { Word(v, version >= 3 ? 1 : 4); }
  void save_override(const boost::archive::tracking_type& t) { Word(t.t, 1); }
  void save_override(const boost::serialization::collection_size_type& count) { Word(count, 4); }
  void save_override(const boost::serialization::item_version_type&) {}
  template <class T>
  void save(const T& t) {
    Base::save(t);
  }
  void save(const std::string& text) {
    Word(text.size(), host ? sizeof(std::size_t) : 4);
    save_binary(text.data(), text.size());
  }
  void Word(uint64_t value, std::size_t width) { save_binary(&value, width); }

  unsigned version;
  bool host;
};

enum class Change { None, KeyOfOrder, Tracked, KeyOfDup, CopyOfDup, Bool2, Tail, Version4, NewerClass, Cut };

data::Database Sample(Change change) {
  data::Database database = testdata::FullDatabase();
  database.textMessages.at(5002).text = "<bool>";  // read
  database.orders.at(1002).text = "<dup>";
  if (change == Change::KeyOfOrder) {
    data::Order order = database.orders.at(1001);
    database.orders.erase(1001);
    database.orders.emplace(7, order);
  }
  return database;
}

void Put32(std::string& bytes, std::size_t at, uint32_t value) {
  for (int i = 0; i < 4; ++i) {
    bytes[at + i] = static_cast<char>(value >> (8 * i));
  }
}

std::string File(Change change, unsigned libraryVersion, bool host) {
  std::stringbuf out(std::ios::out | std::ios::binary);
  {
    FormOArchive archive(out, libraryVersion, host);
    archive << Sample(change);
  }
  std::string bytes = out.str();
  const std::size_t length = host ? sizeof(std::size_t) : 4;  // of a string
  const std::size_t header = 31 + length;
  const std::size_t dup = bytes.find("<dup>") - length;
  switch (change) {
    case Change::Tracked:  // tracking flag 1, then the object's id 0
      bytes[header] = 1;
      bytes.insert(header + 1 + (libraryVersion >= 3 ? 1 : 4), 4, '\0');
      break;
    case Change::CopyOfDup:  // the id of order 1002 too
      Put32(bytes, dup - 4, 1001);
      [[fallthrough]];
    case Change::KeyOfDup:  // the key that order 1002 stands under
      Put32(bytes, dup - 8, 1001);
      break;
    case Change::Bool2:  // behind the text, sort key and two times
      bytes[bytes.find("<bool>") + 6 + 12] = 2;
      break;
    case Change::Tail:
      bytes += "xyz";
      break;
    case Change::Version4:
      bytes[26] = 4;
      break;
    case Change::NewerClass:  // of the database
      bytes[header + 1] = 2;
      break;
    case Change::Cut:  // in the text of the third text message
      bytes.resize(bytes.find(std::string(500, 'D')) + 10);
      break;
    default:
      break;
  }
  return bytes;
}

TEST(DatabaseFormsTest, EveryFormOfTheStockReaderIsRead) {
  // The test's writer writes our own file where it should.
  ASSERT_TRUE(data::EncodeDatabase(Sample(Change::None)) == File(Change::None, 3, false));
  // The cut text's length stands 10 + 4 bytes before the end.
  const std::string cutAt = std::to_string(File(Change::Cut, 3, false).size() - 14);
  struct Row {
    const char* name;
    Change change;
    unsigned libraryVersion;
    bool stock;         // Boost's reader can be asked (its result is defined)
    std::string found;  // in the first repair or the damage report; empty: read as it was
    std::size_t orders, messages;
  } const rows[] = {
      {"library version 3", Change::None, 3, true, "", 100, 100},
      {"library version 2: 4-byte class versions", Change::None, 2, true, "", 100, 100},
      {"library version 1", Change::None, 1, true, "", 100, 100},
      {"library version 0", Change::None, 0, true, "", 100, 100},
      {"a tracked class", Change::Tracked, 2, true, "", 100, 100},
      {"an order under another key", Change::KeyOfOrder, 3, true,
       "order 1001 stored under key 7: moved under its id", 100, 100},
      {"a second order under a key", Change::KeyOfDup, 3, true,
       "order 1002 stored under key 1001: moved under its id", 100, 100},
      {"a second copy of an order", Change::CopyOfDup, 3, true, "second order 1001 under key 1001 dropped",
       99, 100},
      {"a boolean byte of 2", Change::Bool2, 3, false, "boolean of value 2 at byte offset", 100, 100},
      {"bytes behind the database", Change::Tail, 3, true, "3 bytes after the end of the database", 100, 100},
      {"library version 4", Change::Version4, 4, false,
       "stopped at byte offset 26 in the header: archive library version 4 is newer than 3", 0, 0},
      {"a newer database class", Change::NewerClass, 3, true,
       "stopped at byte offset 36 in the database's preamble: class version 2 above the known 1", 0, 0},
      {"a cut file", Change::Cut, 3, true,
       "stopped at byte offset " + cutAt + " in the text messages: string of 500 bytes beyond", 100, 2},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    data::Database expected = Sample(Change::None);
    if (row.change == Change::CopyOfDup) {
      expected.orders.erase(1002);
    }
    const std::string file = File(row.change, row.libraryVersion, false);
    data::Database ours("x");
    const data::DatabaseReport report = data::ReadDatabase(file.data(), file.size(), ours);
    const std::string told =
        report.damaged ? report.DescribeDamage() : (report.repairs.empty() ? "" : report.repairs.front());
    EXPECT_EQ(0u, told.find(row.found)) << told;
    EXPECT_EQ(row.found.empty(), told.empty()) << told;
    EXPECT_EQ(row.orders, ours.orders.size());
    EXPECT_EQ(row.messages, ours.textMessages.size());
    for (const auto& message : ours.textMessages) {
      EXPECT_TRUE(expected.textMessages.count(message.first) == 1 &&
                  expected.textMessages.at(message.first).text == message.second.text);
    }
    if (!report.damaged) {
      EXPECT_TRUE(data::EncodeDatabase(expected) == data::EncodeDatabase(ours));
    }
    if (row.stock) {
      std::stringbuf in(File(row.change, row.libraryVersion, true), std::ios::in | std::ios::binary);
      data::Database stock("x");
      bool refused = false;
      try {
        boost::archive::binary_iarchive archive(in);
        archive >> stock;
      } catch (const std::exception&) {
        refused = true;
      }
      EXPECT_EQ(report.damaged, refused);
      if (!refused) {
        EXPECT_TRUE(data::EncodeDatabase(ours) == data::EncodeDatabase(stock));
      }
    }
  }
}

}  // namespace

#include "common/Buffer.h"

#include <gtest/gtest.h>

#include <boost/archive/binary_iarchive.hpp>
#include <boost/archive/binary_oarchive.hpp>
#include <iomanip>
#include <sstream>
#include <stdexcept>

#include "common/BufferSerialization.h"
#include "common/Exceptions.h"

namespace {

using common::Buffer;

TEST(BufferTest, GrowthFollowsWantedScaledAndMinimum) {
  Buffer buffer(0, 200);
  EXPECT_EQ(nullptr, buffer.GetData());
  buffer.Append(1);
  EXPECT_EQ(32u, buffer.GetCapacity());
  for (int i = 1; i < 32; ++i) {
    buffer.Append(static_cast<unsigned char>(i));
  }
  EXPECT_EQ(32u, buffer.GetCapacity());
  buffer.Append(32);
  EXPECT_EQ(64u, buffer.GetCapacity());
  // Growing kept what was there.
  EXPECT_EQ(1, buffer[0]);
  EXPECT_EQ(31, buffer[31]);
  EXPECT_EQ(32, buffer[32]);

  // A large append beats both the doubling and the minimum.
  Buffer bulk(0, 200);
  const unsigned char hundred[100] = {};
  bulk.Append(hundred, 100);
  EXPECT_EQ(100u, bulk.GetCapacity());
  EXPECT_EQ(100u, bulk.GetSize());

  Buffer full(40, 200);
  full.Append(hundred, 40);
  full.Append(7);
  EXPECT_EQ(80u, full.GetCapacity());

  Buffer slow(40, 100);
  slow.Append(hundred, 40);
  slow.Append(7);
  EXPECT_EQ(41u, slow.GetCapacity());
  EXPECT_EQ(7, slow[40]);

  // Appending nothing changes nothing, not even an empty block.
  Buffer empty(0, 200);
  empty.Append(hundred, 0);
  EXPECT_EQ(0u, empty.GetCapacity());
}

TEST(BufferTest, SizeCapacityAndIndexChecks) {
  Buffer buffer(64, 200);
  const unsigned char bytes[] = {1, 2, 3, 4, 5};
  buffer.Append(bytes, 5);

  EXPECT_EQ(5, buffer[4]);
  try {
    buffer[5];
    FAIL() << "index equal to size must throw";
  } catch (const std::out_of_range& error) {
    EXPECT_STREQ("idx is out of range", error.what());
  }

  buffer.SetSize(64);
  EXPECT_EQ(64u, buffer.GetSize());
  try {
    buffer.SetSize(65);
    FAIL() << "size above capacity must throw";
  } catch (const InvalidOperationException& error) {
    EXPECT_STREQ("invalid size", error.what());
  }
  EXPECT_EQ(64u, buffer.GetSize());

  buffer.SetSize(5);
  buffer.SetCapacity(3);  // below size: truncates
  EXPECT_EQ(3u, buffer.GetCapacity());
  EXPECT_EQ(3u, buffer.GetSize());
  EXPECT_EQ(3, buffer[2]);
  buffer.SetCapacity(7);  // exact, no minimum of 32
  EXPECT_EQ(7u, buffer.GetCapacity());
  EXPECT_EQ(1, buffer[0]);
  buffer.SetCapacity(0);
  EXPECT_EQ(nullptr, buffer.GetData());
  EXPECT_EQ(0u, buffer.GetSize());

  buffer.Append(9);
  buffer.Clear();
  EXPECT_EQ(0u, buffer.GetSize());
  EXPECT_EQ(32u, buffer.GetCapacity());
}

TEST(BufferTest, CopiesOwnTheirBlock) {
  Buffer source(50, 200);
  const unsigned char bytes[] = {0xA, 0xB, 0xC};
  source.Append(bytes, 3);

  Buffer copy(source);
  EXPECT_EQ(50u, copy.GetCapacity());
  EXPECT_EQ(3u, copy.GetSize());
  EXPECT_NE(source.GetData(), copy.GetData());
  copy.GetData()[0] = 0xFF;
  EXPECT_EQ(0xA, source[0]);

  // Equal capacities: the target keeps its block.
  Buffer same(50, 100);
  const unsigned char* block = same.GetData();
  same = source;
  EXPECT_EQ(block, same.GetData());
  EXPECT_EQ(200u, same.GetGrowthPercent());
  EXPECT_EQ(0xC, same[2]);

  Buffer other(10, 200);
  other = source;
  EXPECT_EQ(50u, other.GetCapacity());
  EXPECT_EQ(0xB, other[1]);

  const common::Buffer& alias = other;
  other = alias;  // self-assignment is harmless
  EXPECT_EQ(0xB, other[1]);
}

TEST(BufferTest, HexDumpLeavesStreamFlagsAlone) {
  Buffer buffer(0, 200);
  for (unsigned char byte : {0x0A, 0xFF, 0x1B, 0x00}) {
    buffer.Append(byte);
  }
  std::ostringstream out;
  out << std::dec << buffer << " " << 255;
  EXPECT_EQ("0a:ff:1b:00 255", out.str());

  std::ostringstream upper;
  upper << std::hex << std::uppercase << buffer << " " << 255;
  EXPECT_EQ("0a:ff:1b:00 FF", upper.str());

  std::ostringstream empty;
  empty << Buffer(8, 200);
  EXPECT_EQ("", empty.str());
}

std::string Save(const Buffer& buffer) {
  std::ostringstream out;
  {
    boost::archive::binary_oarchive archive(out, boost::archive::no_header);
    archive << buffer;
  }
  return out.str();
}

TEST(BufferTest, ArchiveFormRoundTripsAndRefusesDamage) {
  Buffer buffer(8, 200);
  const unsigned char bytes[] = {0x42, 0x81, 0x00};
  buffer.Append(bytes, 3);
  const std::string stored = Save(buffer);
  // Stock archive of a non-pointer class: version byte layout is Boost's; the
  // fields follow as 4 native bytes each, then the used bytes.
  ASSERT_GE(stored.size(), 15u);
  const std::string tail = stored.substr(stored.size() - 15);
  const unsigned char expected[] = {200, 0, 0, 0, 8, 0, 0, 0, 3, 0, 0, 0, 0x42, 0x81, 0x00};
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(expected), 15), tail);

  Buffer loaded(100, 100);
  {
    std::istringstream in(stored);
    boost::archive::binary_iarchive archive(in, boost::archive::no_header);
    archive >> loaded;
  }
  EXPECT_EQ(8u, loaded.GetCapacity());
  EXPECT_EQ(3u, loaded.GetSize());
  EXPECT_EQ(200u, loaded.GetGrowthPercent());
  EXPECT_EQ(0x81, loaded[1]);

  // A size above the capacity can only come from a damaged file.
  std::string damaged = stored;
  damaged[damaged.size() - 7] = 9;  // size 9 > capacity 8
  Buffer victim(4, 200);
  std::istringstream in(damaged);
  boost::archive::binary_iarchive archive(in, boost::archive::no_header);
  EXPECT_THROW(archive >> victim, boost::archive::archive_exception);
}

}  // namespace

#include "common/Buffer.h"

#include <gtest/gtest.h>

#include <boost/archive/binary_iarchive.hpp>
#include <boost/archive/binary_oarchive.hpp>
#include <iomanip>
#include <sstream>
#include <stdexcept>

#include "common/BufferSerialization.h"
#include "common/Exceptions.h"
#include "support/Thrown.h"

namespace {

using common::Buffer;
using testsupport::Thrown;

const unsigned char kZeros[100] = {};

TEST(BufferTest, GrowthFollowsWantedScaledAndMinimum) {
  struct Case {
    size_t capacity, percent, first, then, expected;  // appends of first then then bytes
  };
  for (const Case& c :
       {Case{0, 200, 1, 0, 32}, Case{0, 200, 32, 1, 64}, Case{0, 200, 0, 100, 100}, Case{40, 200, 40, 1, 80},
        Case{40, 100, 40, 1, 41}, Case{1, 200, 1, 1, 32}, Case{0, 200, 0, 0, 0}}) {
    SCOPED_TRACE(testing::Message() << c.capacity << "/" << c.percent << " +" << c.first << " +" << c.then);
    Buffer buffer(c.capacity, c.percent);
    for (size_t i = 0; i < c.first; ++i) {
      buffer.Append(static_cast<unsigned char>(i + 1));
    }
    buffer.Append(kZeros, c.then);
    buffer.Append(kZeros, 0);  // appending nothing changes nothing, not even an empty block
    EXPECT_EQ(c.expected, buffer.GetCapacity());
    EXPECT_EQ(c.first + c.then, buffer.GetSize());
    if (c.first > 0) {
      EXPECT_EQ(c.first, buffer[c.first - 1]);  // growing kept what was there
    }
  }
}

TEST(BufferTest, SizeCapacityIndexAndCopies) {
  Buffer buffer(64, 200);
  const unsigned char bytes[] = {1, 2, 3, 4, 5};
  buffer.Append(bytes, 5);
  EXPECT_EQ(5, buffer[4]);
  EXPECT_EQ("idx is out of range", Thrown<std::out_of_range>([&] { buffer[5]; }));
  buffer.SetSize(64);
  EXPECT_EQ("invalid size", Thrown<InvalidOperationException>([&] { buffer.SetSize(65); }));
  EXPECT_EQ(64u, buffer.GetSize());
  buffer.SetSize(5);
  buffer.SetCapacity(3);  // below size: truncates
  EXPECT_EQ(3u, buffer.GetSize());
  EXPECT_EQ(3, buffer[2]);
  buffer.SetCapacity(7);  // exact, no minimum of 32
  EXPECT_EQ(7u, buffer.GetCapacity());
  EXPECT_EQ(1, buffer[0]);

  // Copies own their block; equal capacities keep the target's block.
  Buffer copy(buffer);
  EXPECT_EQ(7u, copy.GetCapacity());
  EXPECT_EQ(3u, copy.GetSize());
  copy.GetData()[0] = 0xFF;
  EXPECT_EQ(1, buffer[0]);
  Buffer same(7, 100);
  const unsigned char* block = same.GetData();
  same = buffer;
  EXPECT_EQ(block, same.GetData());
  EXPECT_EQ(200u, same.GetGrowthPercent());
  EXPECT_EQ(3, same[2]);
  Buffer other(10, 200);
  other = buffer;
  EXPECT_EQ(7u, other.GetCapacity());
  const Buffer& alias = other;
  other = alias;  // self-assignment is harmless
  EXPECT_EQ(2, other[1]);

  buffer.SetCapacity(0);
  EXPECT_EQ(nullptr, buffer.GetData());
  EXPECT_EQ(0u, buffer.GetSize());
  buffer.Append(9);
  buffer.Clear();
  EXPECT_EQ(0u, buffer.GetSize());
  EXPECT_EQ(32u, buffer.GetCapacity());
}

TEST(BufferTest, HexDumpLeavesStreamFlagsAlone) {
  Buffer buffer(0, 200);
  const unsigned char bytes[] = {0x0A, 0xFF, 0x1B, 0x00};
  buffer.Append(bytes, 4);
  std::ostringstream out;
  out << std::dec << buffer << " " << 255 << std::hex << std::uppercase << " " << buffer << " " << 255
      << Buffer(8, 200);
  EXPECT_EQ("0a:ff:1b:00 255 0a:ff:1b:00 FF", out.str());
}

TEST(BufferTest, ArchiveFormRoundTripsAndRefusesDamage) {
  Buffer buffer(8, 200);
  const unsigned char bytes[] = {0x42, 0x81, 0x00};
  buffer.Append(bytes, 3);
  std::ostringstream out;
  {
    boost::archive::binary_oarchive archive(out, boost::archive::no_header);
    archive << buffer;
  }
  std::string stored = out.str();
  // Boost's version bytes, then the fields as 4 native bytes each, then the used bytes.
  const unsigned char expected[] = {200, 0, 0, 0, 8, 0, 0, 0, 3, 0, 0, 0, 0x42, 0x81, 0x00};
  ASSERT_GE(stored.size(), 15u);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(expected), 15), stored.substr(stored.size() - 15));

  Buffer loaded(100, 100);
  for (int damaged = 0; damaged < 2; ++damaged) {
    std::istringstream in(stored);
    boost::archive::binary_iarchive archive(in, boost::archive::no_header);
    if (damaged == 1) {  // a size above the capacity can only come from a damaged file
      EXPECT_THROW(archive >> loaded, boost::archive::archive_exception);
      break;
    }
    archive >> loaded;
    EXPECT_EQ(8u, loaded.GetCapacity());
    EXPECT_EQ(3u, loaded.GetSize());
    EXPECT_EQ(200u, loaded.GetGrowthPercent());
    EXPECT_EQ(0x81, loaded[1]);
    stored[stored.size() - 7] = 9;  // size 9 > capacity 8
  }
}

}  // namespace

#include "quorlan/MessageField.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "common/Exceptions.h"
#include "quorlan/TestHelpers.h"

namespace {

using common::Buffer;
using quorlan::GetField;
using quorlan::Message;
using quorlan::MessageField;
using quorlan::PutField;
using namespace quorlantest;

std::string ParseFailure(const std::function<void()>& read) {
  try {
    read();
  } catch (const ParseException& error) {
    return error.what();
  }
  return "";
}

std::string Written(const std::function<void(Message&)>& write) {
  Message message(0x0102);
  Buffer buffer(16, 200);
  try {
    write(message);
  } catch (const SerializeException& error) {
    return std::string("failure: ") + error.what();
  }
  message.Serialize(buffer);
  return Hex(buffer);
}

TEST(MessageFieldTest, NewFieldsAreAbsent) {
  EXPECT_EQ(quorlan::Absent, MessageField<uint32_t>().state);
  EXPECT_EQ(0u, MessageField<common::Buffer>().value.GetSize());
  EXPECT_EQ(0, quorlan::Absent);
  EXPECT_EQ(1, quorlan::Null);
  EXPECT_EQ(2, quorlan::FieldState::Set);
  EXPECT_EQ(4u, sizeof(quorlan::FieldState));
}

TEST(MessageFieldTest, GetFieldFollowsRequiredNullableAndType) {
  Message message(1);
  message.Parse(Tree(1, {{1, Int(300)},
                         {2, Int(-1)},
                         {3, Int(0x100000005LL)},
                         {4, Str("text")},
                         {5, Bool(true)},
                         {6, Null()},
                         {7, ByteArray(Bytes({1, 2}))},
                         {8, Int(-2)}}));

  // Integers are cut to the field's width without a range check.
  MessageField<uint8_t> small;
  GetField(message, 1, small, true, false);
  EXPECT_EQ(quorlan::Set, small.state);
  EXPECT_EQ(44, small.value);
  MessageField<uint32_t> unsignedWide;
  GetField(message, 2, unsignedWide, true, false);
  EXPECT_EQ(0xFFFFFFFFu, unsignedWide.value);
  MessageField<int32_t> signedWide;
  GetField(message, 3, signedWide, true, false);
  EXPECT_EQ(5, signedWide.value);
  MessageField<uint16_t> half;
  GetField(message, 8, half, true, false);
  EXPECT_EQ(0xFFFE, half.value);
  MessageField<uint64_t> full;
  GetField(message, 8, full, true, false);
  EXPECT_EQ(0xFFFFFFFFFFFFFFFEull, full.value);

  MessageField<std::string> text;
  GetField(message, 4, text, true, false);
  EXPECT_EQ("text", text.value);
  MessageField<bool> flag;
  GetField(message, 5, flag, true, false);
  EXPECT_TRUE(flag.value);
  MessageField<Buffer> bytes;
  GetField(message, 7, bytes, true, false);
  EXPECT_EQ("01 02", Hex(bytes.value));

  // Missing keys.
  MessageField<uint32_t> missing;
  missing.SetValue(9);
  GetField(message, 9, missing, false, true);
  EXPECT_EQ(quorlan::Absent, missing.state);
  EXPECT_EQ("missing node 9", ParseFailure([&] { GetField(message, 9, missing, true, true); }));

  // Null only where nullable.
  MessageField<uint32_t> cleared;
  GetField(message, 6, cleared, false, true);
  EXPECT_EQ(quorlan::Null, cleared.state);
  EXPECT_EQ("node 6 has unexpected type", ParseFailure([&] { GetField(message, 6, cleared, false, false); }));

  // Every other type mismatch names the key.
  MessageField<bool> notBool;
  EXPECT_EQ("node 1 has unexpected type", ParseFailure([&] { GetField(message, 1, notBool, true, true); }));
  EXPECT_EQ("node 4 has unexpected type", ParseFailure([&] { GetField(message, 4, small, true, false); }));
  EXPECT_EQ("node 7 has unexpected type", ParseFailure([&] { GetField(message, 7, text, true, false); }));
  EXPECT_EQ("node 4 has unexpected type", ParseFailure([&] { GetField(message, 4, bytes, true, false); }));
  EXPECT_EQ("node 5 has unexpected type", ParseFailure([&] { GetField(message, 5, full, true, false); }));
}

TEST(MessageFieldTest, PutFieldWritesSetNullOrNothing) {
  MessageField<uint32_t> wide;
  wide.SetValue(0xFFFFFFFFu);
  MessageField<int32_t> negative;
  negative.SetValue(-1);
  MessageField<uint64_t> time;
  time.SetValue(300000000000ull);
  MessageField<Buffer> empty;
  empty.state = quorlan::Set;
  EXPECT_EQ("01 02 01 C6 FF FF FF FF 02 C3 01 03 C8 00 00 00 45 D9 64 B8 00 05 80 00",
            Written([&](Message& m) {
              PutField(m, 1, wide, true, false);
              PutField(m, 2, negative, true, false);
              PutField(m, 3, time, true, false);
              PutField(m, 5, empty, false, false);
            }));

  MessageField<std::string> nulled;
  nulled.state = quorlan::Null;
  MessageField<bool> absent;
  EXPECT_EQ("01 02 04 00", Written([&](Message& m) {
              PutField(m, 4, nulled, true, true);
              PutField(m, 6, absent, false, true);
            }));
  EXPECT_EQ("01 02", Written([&](Message& m) { PutField(m, 4, nulled, false, false); }));
  EXPECT_EQ("failure: can't serialize parameter: 133",
            Written([&](Message& m) { PutField(m, 133, nulled, true, false); }));
  EXPECT_EQ("failure: can't serialize parameter: 7",
            Written([&](Message& m) { PutField(m, 7, absent, true, true); }));
}

}  // namespace

#include "quorlan/MessageField.h"

#include <gtest/gtest.h>

#include <string>

#include "common/Exceptions.h"
#include "quorlan/FieldText.h"
#include "quorlan/TestHelpers.h"

namespace {

using common::Buffer;
using quorlan::GetField;
using quorlan::MessageField;
using quorlan::PutField;
using namespace quorlantest;

TEST(MessageFieldTest, GetFieldCutsIntegersAndChecksTypes) {
  quorlan::Message message;
  message.Parse(
      Tree(1, {{1, Int(300)}, {2, Int(-2)}, {3, Int(0x100000005LL)}, {7, ByteArray(Bytes({1, 2}))}}));
  // Integers are cut to the field's width without a range check.
  MessageField<uint8_t> small;
  MessageField<uint16_t> half;
  MessageField<uint64_t> full;
  MessageField<int32_t> signedWide;
  MessageField<Buffer> bytes;
  GetField(message, 1, small, true, false);
  GetField(message, 2, half, true, false);
  GetField(message, 2, full, true, false);
  GetField(message, 3, signedWide, true, false);
  GetField(message, 7, bytes, true, false);
  EXPECT_EQ("44 65534 18446744073709551614 5", Fields(small, half, full, signedWide));
  EXPECT_EQ(quorlan::Set, bytes.state);
  EXPECT_EQ("01 02", Hex(bytes.value));

  // A missing optional key makes even a set field Absent.
  full.SetValue(9);
  GetField(message, 9, full, false, true);
  EXPECT_EQ(quorlan::Absent, full.state);

  MessageField<std::string> text;
  EXPECT_EQ("node 7 has unexpected type",
            Thrown<ParseException>([&] { GetField(message, 7, text, true, true); }));
  EXPECT_EQ("node 1 has unexpected type",
            Thrown<ParseException>([&] { GetField(message, 1, bytes, true, true); }));
}

TEST(MessageFieldTest, PutFieldWidensAndWritesNullOnlyWhereAllowed) {
  MessageField<uint32_t> wide;
  wide.SetValue(0xFFFFFFFFu);
  MessageField<int32_t> negative;
  negative.SetValue(-1);
  MessageField<std::string> nulled;
  nulled.state = quorlan::Null;
  quorlan::Message message(0x0102);
  PutField(message, 1, wide, true, false);
  PutField(message, 2, negative, true, false);
  PutField(message, 3, nulled, true, true);
  PutField(message, 4, nulled, false, false);
  Buffer buffer(16, 200);
  message.Serialize(buffer);
  EXPECT_EQ("01 02 01 C6 FF FF FF FF 02 C3 01 03 00", Hex(buffer));
  EXPECT_EQ("can't serialize parameter: 133",
            Thrown<SerializeException>([&] { PutField(message, 133, nulled, true, false); }));
}

}  // namespace

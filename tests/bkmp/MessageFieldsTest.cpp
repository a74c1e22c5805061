#include <gtest/gtest.h>

#include <string>

#include "bkmp/bkmp.h"

namespace {

// Whether the field reads back through get as expected.
template <typename T>
bool ReadsBack(BKMPMessage message, int (*get)(BKMPMessage, const char*, T*), const char* key, T expected) {
  T value{};
  return get(message, key, &value) == BKMP_OK && value == expected;
}

class MessageFieldsTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(BKMP_OK, BKMPMessageCreate(&message)); }
  void TearDown() override { EXPECT_EQ(BKMP_OK, BKMPMessageDestroy(message)); }
  BKMPMessage message = nullptr;
};

TEST_F(MessageFieldsTest, EachTypeReadsBackOnlyAsItself) {
  ASSERT_EQ(BKMP_OK, BKMPSetFieldInt8(message, "MessageID", -3));
  ASSERT_EQ(BKMP_OK, BKMPSetFieldUint16(message, "Type", 65535));
  ASSERT_EQ(BKMP_OK, BKMPSetFieldInt32(message, "Id", -1));
  ASSERT_EQ(BKMP_OK, BKMPSetFieldBool(message, "Remote", 7));
  ASSERT_EQ(BKMP_OK, BKMPSetFieldLong64(message, "Big", -5000000000LL));
  ASSERT_EQ(BKMP_OK, BKMPSetFieldReal(message, "R", 2.5));

  EXPECT_TRUE(ReadsBack<int8_t>(message, BKMPGetFieldInt8, "MessageID", -3));
  EXPECT_TRUE(ReadsBack<uint16_t>(message, BKMPGetFieldUint16, "Type", 65535));
  // An Int32 field reads as unsigned too: there is no unsigned setter.
  EXPECT_TRUE(ReadsBack<uint32_t>(message, BKMPGetFieldUint32, "Id", 0xFFFFFFFFu));
  EXPECT_TRUE(ReadsBack<int>(message, BKMPGetFieldBool, "Remote", 1));
  EXPECT_TRUE(ReadsBack<int64_t>(message, BKMPGetFieldLong64, "Big", -5000000000LL));
  EXPECT_TRUE(ReadsBack<double>(message, BKMPGetFieldReal, "R", 2.5));

  // Missing fields and fields of another type fail.
  uint8_t u8 = 0;
  EXPECT_EQ(BKMP_E_NOTFOUND, BKMPGetFieldUint8(message, "Nope", &u8));
  EXPECT_EQ(BKMP_E_TYPE, BKMPGetFieldUint8(message, "MessageID", &u8));
  int32_t i32 = 0;
  EXPECT_EQ(BKMP_E_TYPE, BKMPGetFieldInt32(message, "Type", &i32));
  char text[8];
  EXPECT_EQ(BKMP_E_TYPE, BKMPGetFieldStr(message, "Id", text, sizeof(text)));

  // Setting again replaces, whatever the old type.
  ASSERT_EQ(BKMP_OK, BKMPSetFieldStr(message, "Id", "x"));
  EXPECT_EQ(BKMP_E_TYPE, BKMPGetFieldInt32(message, "Id", &i32));
  EXPECT_EQ(BKMP_OK, BKMPGetFieldStr(message, "Id", text, sizeof(text)));
  EXPECT_STREQ("x", text);
}

TEST_F(MessageFieldsTest, TextsAreCutToTheCallersBufferAndBoundsHold) {
  ASSERT_EQ(BKMP_OK, BKMPSetFieldStr(message, "Text", "hello world"));
  char small[6];
  EXPECT_EQ(BKMP_OK, BKMPGetFieldStr(message, "Text", small, sizeof(small)));
  EXPECT_STREQ("hello", small);
  EXPECT_EQ(BKMP_E_INVALID, BKMPGetFieldStr(message, "Text", small, 0));

  ASSERT_EQ(BKMP_OK, BKMPSetFieldUniStr(message, "Wide", L"Gr\u00FC\u00DFe"));
  wchar_t wide[4];
  EXPECT_EQ(BKMP_OK, BKMPGetFieldUniStr(message, "Wide", wide, 4));
  EXPECT_EQ(std::wstring(L"Gr\u00FC"), wide);

  EXPECT_EQ(BKMP_E_INVALID, BKMPSetFieldInt8(message, "", 1));
  EXPECT_EQ(BKMP_E_INVALID, BKMPSetFieldInt8(message, std::string(128, 'k').c_str(), 1));
  EXPECT_EQ(BKMP_OK, BKMPSetFieldInt8(message, std::string(127, 'k').c_str(), 1));
  EXPECT_EQ(BKMP_E_NOMEM, BKMPSetFieldStr(message, "Long", std::string(65536, 'a').c_str()));
  EXPECT_EQ(BKMP_E_INVALID, BKMPSetFieldInt8(nullptr, "a", 1));

  // The number of fields is bounded.
  int result = BKMP_OK;
  for (int i = 0; i < 600 && result == BKMP_OK; ++i) {
    result = BKMPSetFieldInt8(message, ("f" + std::to_string(i)).c_str(), 1);
  }
  EXPECT_EQ(BKMP_E_NOMEM, result);
}

}  // namespace

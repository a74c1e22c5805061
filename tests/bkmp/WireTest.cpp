// Frames on their own: the documented layout byte for byte, frames still
// arriving, the many ways a frame can be wrong, and the bounds.
#include <gtest/gtest.h>

#include <string>

#include "bkmp/Helpers.h"

namespace {

using namespace bkmptest;

int Decode(const Bytes& bytes, MessagePtr* decoded = nullptr, int* used = nullptr) {
  BKMPMessage message = nullptr;
  int usedBytes = -1;
  const int result = BKMPMessageDecode(bytes.data(), static_cast<int>(bytes.size()), &usedBytes, &message);
  EXPECT_EQ(result == BKMP_OK, message != nullptr);
  MessagePtr owned(message);
  if (decoded != nullptr) {
    *decoded = std::move(owned);
  }
  if (used != nullptr) {
    *used = usedBytes;
  }
  return result;
}

TEST(WireTest, TheDocumentedExampleIsExactlyWhatIsSentAndRead) {
  EXPECT_EQ(kExample, Frame(ExampleMessage().get()));

  Bytes twoFrames = kExample;
  twoFrames.insert(twoFrames.end(), kExample.begin(), kExample.end());
  MessagePtr decoded;
  int used = 0;
  ASSERT_EQ(BKMP_OK, Decode(twoFrames, &decoded, &used));
  EXPECT_EQ(static_cast<int>(kExample.size()), used);  // one frame at a time
  uint32_t id = 0;
  wchar_t name[8];
  EXPECT_EQ(BKMP_OK, BKMPGetFieldUint32(decoded.get(), "Id", &id));
  EXPECT_EQ(0xFFFFFFFEu, id);
  EXPECT_EQ(BKMP_OK, BKMPGetFieldUniStr(decoded.get(), "Name", name, 8));
  EXPECT_EQ(std::wstring(L"Zo\u00EB"), name);
  uint8_t wrong = 0;  // the type travels too
  EXPECT_EQ(BKMP_E_TYPE, BKMPGetFieldUint8(decoded.get(), "MessageID", &wrong));

  MessagePtr all;
  ASSERT_EQ(BKMP_OK, Decode(Frame(AllTypesMessage().get()), &all));
  EXPECT_EQ(Frame(AllTypesMessage().get()), Frame(all.get()));
  EXPECT_EQ(Bytes({'B', 'K', 'M', 'P', 1, 0, 0, 0, 0, 0, 0, 0}), Frame(NewMessage().get()));
}

// Each type's value bytes; and a frame whose body ends right behind the type
// of its only field is refused: nothing is left after the failed read of the
// value (or of a text's count), so only that read itself can refuse it.
TEST(WireTest, EachTypeHasItsDocumentedValueBytesAndAFieldWithoutItsValueIsRefused) {
  struct Case {
    int (*set)(BKMPMessage);
    Bytes value;  // type byte and value, after the key "k"
  };
  const Case cases[] = {
      {[](BKMPMessage m) { return BKMPSetFieldInt8(m, "k", -1); }, {0x01, 0xFF}},
      {[](BKMPMessage m) { return BKMPSetFieldUint8(m, "k", 200); }, {0x02, 0xC8}},
      {[](BKMPMessage m) { return BKMPSetFieldInt16(m, "k", -300); }, {0x03, 0xD4, 0xFE}},
      {[](BKMPMessage m) { return BKMPSetFieldUint16(m, "k", 513); }, {0x04, 0x01, 0x02}},
      {[](BKMPMessage m) { return BKMPSetFieldInt32(m, "k", 0x01020304); }, {0x05, 4, 3, 2, 1}},
      {[](BKMPMessage m) { return BKMPSetFieldLong64(m, "k", 0x0102030405060708LL); },
       {0x06, 8, 7, 6, 5, 4, 3, 2, 1}},
      {[](BKMPMessage m) { return BKMPSetFieldBool(m, "k", -7); }, {0x07, 0x01}},
      {[](BKMPMessage m) { return BKMPSetFieldReal(m, "k", 1.5); }, {0x08, 0, 0, 0, 0, 0, 0, 0xF8, 0x3F}},
      {[](BKMPMessage m) { return BKMPSetFieldStr(m, "k", "\xC3\xA9"); }, {0x09, 0x02, 0x00, 0xC3, 0xA9}},
      {[](BKMPMessage m) { return BKMPSetFieldUniStr(m, "k", L"\U0001F69A"); },
       {0x0A, 0x01, 0x00, 0x9A, 0xF6, 0x01, 0x00}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(static_cast<int>(c.value[0]));
    MessagePtr message = NewMessage();
    ASSERT_EQ(BKMP_OK, c.set(message.get()));
    Bytes expected = {'B', 'K', 'M', 'P', 1,  0, 1, 0, static_cast<uint8_t>(2 + c.value.size()),
                      0,   0,   0,   1,   'k'};
    expected.insert(expected.end(), c.value.begin(), c.value.end());
    EXPECT_EQ(expected, Frame(message.get()));
    MessagePtr decoded;
    ASSERT_EQ(BKMP_OK, Decode(expected, &decoded));
    EXPECT_EQ(expected, Frame(decoded.get()));
    Bytes bare(expected.begin(), expected.begin() + 15);  // up to the type
    bare[8] = 3;  // the body's length: the key's length, the key and the type
    EXPECT_EQ(BKMP_E_PROTOCOL, Decode(bare));
  }
}

TEST(WireTest, BeginningsAreIncompleteAndBadHeadersFailAtOnce) {
  for (size_t size = 0; size < kExample.size(); ++size) {
    EXPECT_EQ(BKMP_E_INCOMPLETE, Decode(Bytes(kExample.begin(), kExample.begin() + size))) << size;
  }
  // A bad header byte is caught as soon as it is there, before any length.
  EXPECT_EQ(BKMP_E_PROTOCOL, Decode({'X'}));
  EXPECT_EQ(BKMP_E_PROTOCOL, Decode({'B', 'K', 'M', 'P', 0x02}));
  EXPECT_EQ(BKMP_E_PROTOCOL, Decode({'B', 'K', 'M', 'P', 0x01, 0x00, 0x01, 0x02}));  // 513 fields
  EXPECT_EQ(BKMP_E_INCOMPLETE, Decode({'B', 'K', 'M', 'P', 0x01, 0x00, 0x00, 0x02, 0xF4, 0xFF, 0x0F, 0x00}));
  for (const auto& [what, bytes] : MalformedFrames()) {
    EXPECT_EQ(BKMP_E_PROTOCOL, Decode(bytes)) << what;
  }
}

TEST(WireTest, FramesAndWideTextsAreBounded) {
  // Sixteen of the longest wide texts don't fit in one frame: length 0.
  MessagePtr message = NewMessage();
  const std::wstring longest(65535, L'w');
  for (int i = 0; i < 16; ++i) {
    ASSERT_EQ(BKMP_OK, BKMPSetFieldUniStr(message.get(), std::to_string(i).c_str(), longest.c_str()));
  }
  int length = -1;
  EXPECT_EQ(BKMP_E_NOMEM, BKMPMessageEncode(message.get(), nullptr, 0, &length));
  EXPECT_EQ(0, length);

  // Three fit, in a buffer just big enough but not in one a byte short.
  MessagePtr three = NewMessage();
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(BKMP_OK, BKMPSetFieldUniStr(three.get(), std::to_string(i).c_str(), longest.c_str()));
  }
  Bytes buffer(12 + 3 * (1 + 1 + 1 + 2 + 4 * 65535));
  const int size = static_cast<int>(buffer.size());
  EXPECT_EQ(BKMP_E_NOMEM, BKMPMessageEncode(three.get(), buffer.data(), size - 1, &length));
  EXPECT_EQ(size, length);
  EXPECT_EQ(BKMP_OK, BKMPMessageEncode(three.get(), buffer.data(), size, &length));
  EXPECT_EQ(BKMP_OK, Decode(buffer));

  // Wide texts hold characters of Unicode only, so that all can be sent.
  const wchar_t surrogate[] = {L'a', static_cast<wchar_t>(0xDC00), 0};
  const wchar_t tooHigh[] = {static_cast<wchar_t>(0x110000), 0};
  EXPECT_EQ(BKMP_E_INVALID, BKMPSetFieldUniStr(message.get(), "bad", surrogate));
  EXPECT_EQ(BKMP_E_INVALID, BKMPSetFieldUniStr(message.get(), "bad", tooHigh));
}

}  // namespace

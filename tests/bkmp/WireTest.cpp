// Frames on their own: the documented layout byte for byte, round trips,
// frames that are still arriving, and the many ways a frame can be wrong.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "bkmp/Frames.h"
#include "bkmp/Peers.h"

namespace {

using bkmptest::Bytes;
using bkmptest::ExampleMessage;
using bkmptest::Frame;
using bkmptest::kExample;
using bkmptest::MessagePtr;
using bkmptest::NewMessage;

int Decode(const Bytes& bytes, MessagePtr* decoded = nullptr, int* used = nullptr) {
  BKMPMessage message = nullptr;
  int usedBytes = -1;
  const int result = BKMPMessageDecode(bytes.data(), static_cast<int>(bytes.size()), &usedBytes, &message);
  if (result != BKMP_OK) {
    EXPECT_EQ(nullptr, message);
  }
  if (decoded != nullptr) {
    decoded->reset(message);
  } else if (message != nullptr) {
    BKMPMessageDestroy(message);
  }
  if (used != nullptr) {
    *used = usedBytes;
  }
  return result;
}

TEST(WireTest, TheDocumentedExampleIsExactlyWhatIsSentAndRead) {
  EXPECT_EQ(kExample, Frame(ExampleMessage().get()));

  MessagePtr decoded;
  int used = 0;
  Bytes twoFrames = kExample;
  twoFrames.insert(twoFrames.end(), kExample.begin(), kExample.end());
  ASSERT_EQ(BKMP_OK, Decode(twoFrames, &decoded, &used));
  EXPECT_EQ(static_cast<int>(kExample.size()), used);  // one frame at a time
  uint8_t id = 0;
  uint32_t orderId = 0;
  wchar_t name[8];
  EXPECT_EQ(BKMP_OK, BKMPGetFieldUint8(decoded.get(), "MessageID", &id));
  EXPECT_EQ(3, id);
  EXPECT_EQ(BKMP_OK, BKMPGetFieldUint32(decoded.get(), "Id", &orderId));
  EXPECT_EQ(0xFFFFFFFEu, orderId);
  EXPECT_EQ(BKMP_OK, BKMPGetFieldUniStr(decoded.get(), "Name", name, 8));
  EXPECT_EQ(std::wstring(L"Zo\u00EB"), name);
  // Fields keep their order, so the frame comes back the same.
  EXPECT_EQ(kExample, Frame(decoded.get()));
}

TEST(WireTest, EachTypeHasItsDocumentedValueBytes) {
  struct Case {
    const char* what;
    int (*set)(BKMPMessage);
    Bytes value;  // type byte and value, after the key "k"
  };
  const Case cases[] = {
      {"int8", [](BKMPMessage m) { return BKMPSetFieldInt8(m, "k", -1); }, {0x01, 0xFF}},
      {"uint8", [](BKMPMessage m) { return BKMPSetFieldUint8(m, "k", 200); }, {0x02, 0xC8}},
      {"int16", [](BKMPMessage m) { return BKMPSetFieldInt16(m, "k", -300); }, {0x03, 0xD4, 0xFE}},
      {"uint16", [](BKMPMessage m) { return BKMPSetFieldUint16(m, "k", 513); }, {0x04, 0x01, 0x02}},
      {"int32", [](BKMPMessage m) { return BKMPSetFieldInt32(m, "k", 0x01020304); }, {0x05, 4, 3, 2, 1}},
      {"long64",
       [](BKMPMessage m) { return BKMPSetFieldLong64(m, "k", 0x0102030405060708LL); },
       {0x06, 8, 7, 6, 5, 4, 3, 2, 1}},
      {"bool", [](BKMPMessage m) { return BKMPSetFieldBool(m, "k", -7); }, {0x07, 0x01}},
      {"real",
       [](BKMPMessage m) { return BKMPSetFieldReal(m, "k", 1.5); },
       {0x08, 0, 0, 0, 0, 0, 0, 0xF8, 0x3F}},
      {"text",
       [](BKMPMessage m) { return BKMPSetFieldStr(m, "k", "\xC3\xA9"); },
       {0x09, 0x02, 0x00, 0xC3, 0xA9}},
      {"wide",
       [](BKMPMessage m) { return BKMPSetFieldUniStr(m, "k", L"\U0001F69A"); },
       {0x0A, 0x01, 0x00, 0x9A, 0xF6, 0x01, 0x00}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    MessagePtr message = NewMessage();
    ASSERT_EQ(BKMP_OK, c.set(message.get()));
    const Bytes frame = Frame(message.get());
    Bytes expected = {
        0x42, 0x4B, 0x4D, 0x50, 0x01, 0x00, 0x01, 0x00, static_cast<uint8_t>(2 + c.value.size()),
        0x00, 0x00, 0x00, 0x01, 'k'};
    expected.insert(expected.end(), c.value.begin(), c.value.end());
    EXPECT_EQ(expected, frame);
    MessagePtr decoded;
    ASSERT_EQ(BKMP_OK, Decode(frame, &decoded));
    EXPECT_EQ(frame, Frame(decoded.get()));
  }
}

TEST(WireTest, EveryTypeAndTheEmptyMessageSurviveARoundTrip) {
  MessagePtr decoded;
  ASSERT_EQ(BKMP_OK, Decode(Frame(bkmptest::AllTypesMessage().get()), &decoded));
  bkmptest::ExpectAllTypes(decoded.get(), "decoded frame");

  const Bytes empty = Frame(NewMessage().get());
  EXPECT_EQ(Bytes({0x42, 0x4B, 0x4D, 0x50, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00}), empty);
  EXPECT_EQ(BKMP_OK, Decode(empty));
}

TEST(WireTest, EveryBeginningOfAFrameIsIncompleteAndNoMore) {
  for (size_t size = 0; size < kExample.size(); ++size) {
    EXPECT_EQ(BKMP_E_INCOMPLETE, Decode(Bytes(kExample.begin(), kExample.begin() + size))) << size;
  }
  // A bad header byte is caught as soon as it is there, before the length.
  EXPECT_EQ(BKMP_E_PROTOCOL, Decode({'X'}));
  EXPECT_EQ(BKMP_E_PROTOCOL, Decode({'B', 'K', 'M', 'Q'}));
  EXPECT_EQ(BKMP_E_PROTOCOL, Decode({'B', 'K', 'M', 'P', 0x02}));
  EXPECT_EQ(BKMP_E_PROTOCOL, Decode({'B', 'K', 'M', 'P', 0x01, 0x80}));
  EXPECT_EQ(BKMP_E_PROTOCOL, Decode({'B', 'K', 'M', 'P', 0x01, 0x00, 0x01, 0x02}));  // 513 fields
  EXPECT_EQ(BKMP_E_PROTOCOL, Decode({'B', 'K', 'M', 'P', 0x01, 0x00, 0x00, 0x02, 0xF5, 0xFF, 0x0F, 0x00}));
  EXPECT_EQ(BKMP_E_INCOMPLETE, Decode({'B', 'K', 'M', 'P', 0x01, 0x00, 0x00, 0x02, 0xF4, 0xFF, 0x0F, 0x00}));

  BKMPMessage message = nullptr;
  int used = 0;
  EXPECT_EQ(BKMP_E_INVALID, BKMPMessageDecode(nullptr, 3, &used, &message));
  EXPECT_EQ(BKMP_E_INVALID, BKMPMessageDecode(kExample.data(), -1, &used, &message));
}

TEST(WireTest, MalformedFramesAreRefusedWhole) {
  for (const auto& [what, bytes] : bkmptest::MalformedFrames()) {
    EXPECT_EQ(BKMP_E_PROTOCOL, Decode(bytes)) << what;
  }
}

TEST(WireTest, FramesAreBounded) {
  // Sixteen of the longest wide texts don't fit in one frame: nothing is
  // written, and the caller learns it from the length 0.
  MessagePtr message = NewMessage();
  const std::wstring longest(65535, L'w');
  for (int i = 0; i < 16; ++i) {
    ASSERT_EQ(BKMP_OK, BKMPSetFieldUniStr(message.get(), ("w" + std::to_string(i)).c_str(), longest.c_str()));
  }
  int length = -1;
  EXPECT_EQ(BKMP_E_NOMEM, BKMPMessageEncode(message.get(), nullptr, 0, &length));
  EXPECT_EQ(0, length);

  // Three of them fit, in a buffer just big enough but not in one a byte short.
  MessagePtr three = NewMessage();
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(BKMP_OK, BKMPSetFieldUniStr(three.get(), ("w" + std::to_string(i)).c_str(), longest.c_str()));
  }
  ASSERT_EQ(BKMP_E_NOMEM, BKMPMessageEncode(three.get(), nullptr, 0, &length));
  EXPECT_EQ(12 + 3 * (1 + 2 + 1 + 2 + 4 * 65535), length);
  Bytes buffer(static_cast<size_t>(length));
  EXPECT_EQ(BKMP_E_NOMEM, BKMPMessageEncode(three.get(), buffer.data(), length - 1, &length));
  EXPECT_EQ(BKMP_OK, BKMPMessageEncode(three.get(), buffer.data(), length, &length));
  EXPECT_EQ(BKMP_OK, Decode(buffer));

  // Wide texts hold characters of Unicode only, so every one can be sent.
  const wchar_t surrogate[] = {L'a', static_cast<wchar_t>(0xDC00), 0};
  const wchar_t tooHigh[] = {static_cast<wchar_t>(0x110000), 0};
  EXPECT_EQ(BKMP_E_INVALID, BKMPSetFieldUniStr(message.get(), "bad", surrogate));
  EXPECT_EQ(BKMP_E_INVALID, BKMPSetFieldUniStr(message.get(), "bad", tooHigh));
}

TEST(WireTest, ErrorCodesHaveTexts) {
  EXPECT_STREQ("timed out", BKMPErrorString(BKMP_E_TIMEOUT));
  EXPECT_STREQ("malformed frame from the peer", BKMPErrorString(BKMP_E_PROTOCOL));
  EXPECT_STREQ("unknown error", BKMPErrorString(-1));
}

}  // namespace

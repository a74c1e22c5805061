#include "bkmp/Frames.h"

#include <gtest/gtest.h>

#include "bkmp/Peers.h"

namespace bkmptest {

// The worked example of the wire format document.
const Bytes kExample = {0x42, 0x4B, 0x4D, 0x50, 0x01, 0x00, 0x05, 0x00, 0x3B, 0x00, 0x00, 0x00,  // header
                        0x09, 0x4D, 0x65, 0x73, 0x73, 0x61, 0x67, 0x65, 0x49, 0x44, 0x02, 0x03,  // MessageID
                        0x02, 0x49, 0x64, 0x05, 0xFE, 0xFF, 0xFF, 0xFF,                          // Id
                        0x06, 0x52, 0x65, 0x6D, 0x6F, 0x74, 0x65, 0x07, 0x01,                    // Remote
                        0x04, 0x54, 0x65, 0x78, 0x74, 0x09, 0x02, 0x00, 0x48, 0x69,              // Text
                        0x04, 0x4E, 0x61, 0x6D, 0x65, 0x0A, 0x03, 0x00, 0x5A, 0x00, 0x00, 0x00,
                        0x6F, 0x00,  // Name
                        0x00, 0x00, 0xEB, 0x00, 0x00, 0x00};

MessagePtr ExampleMessage() {
  MessagePtr message = NewMessage();
  EXPECT_EQ(BKMP_OK, BKMPSetFieldUint8(message.get(), "MessageID", 3));
  EXPECT_EQ(BKMP_OK, BKMPSetFieldInt32(message.get(), "Id", -2));
  EXPECT_EQ(BKMP_OK, BKMPSetFieldBool(message.get(), "Remote", 1));
  EXPECT_EQ(BKMP_OK, BKMPSetFieldStr(message.get(), "Text", "Hi"));
  EXPECT_EQ(BKMP_OK, BKMPSetFieldUniStr(message.get(), "Name", L"Zo\u00EB"));
  return message;
}

namespace {

// The example frame with some bytes changed, and optionally resized.
Bytes Broken(std::initializer_list<std::pair<size_t, uint8_t>> changes, size_t size = 0) {
  Bytes bytes = kExample;
  if (size != 0) {
    bytes.resize(size);
    bytes[8] = static_cast<uint8_t>(size - 12);
  }
  for (const auto& change : changes) {
    bytes.at(change.first) = change.second;
  }
  return bytes;
}

}  // namespace

// Malformed frames of many kinds; the connection tests send them too.
std::vector<std::pair<std::string, Bytes>> MalformedFrames() {
  Bytes tooManyFields = kExample;
  tooManyFields[6] = 6;
  Bytes tooFewFields = kExample;
  tooFewFields[6] = 4;
  Bytes hugeText = kExample;
  hugeText[47] = 0x20;  // text length 0x0020 with 2 bytes left
  Bytes duplicate = kExample;
  duplicate[52] = 'T';  // "Name" becomes "Text"
  duplicate[53] = 'e';
  duplicate[54] = 'x';
  duplicate[55] = 't';
  return {
      {"bad magic", Broken({{3, 'Q'}})},
      {"unknown version", Broken({{4, 0x02}})},
      {"flags set", Broken({{5, 0x01}})},
      {"too many fields for the body", tooManyFields},
      {"bytes after the last field", tooFewFields},
      {"key length 0", Broken({{12, 0x00}})},
      {"key length 128", Broken({{12, 0x80}})},
      {"key with a zero byte", Broken({{14, 0x00}})},
      {"type 0", Broken({{22, 0x00}})},
      {"type 11", Broken({{22, 0x0B}})},
      {"bool 2", Broken({{40, 0x02}})},
      {"text with a zero byte", Broken({{49, 0x00}})},
      {"text longer than the body", hugeText},
      {"wide character above 0x10FFFF", Broken({{61, 0x11}})},
      {"wide character a surrogate", Broken({{59, 0x00}, {60, 0xD8}})},
      {"wide character 0", Broken({{59, 0x00}})},
      {"the same key twice", duplicate},
      {"last value cut short", Broken({}, kExample.size() - 1)},
      {"body length above the limit", Broken({{8, 0xF5}, {9, 0xFF}, {10, 0x0F}})},
  };
}

}  // namespace bkmptest

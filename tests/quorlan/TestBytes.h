#pragma once

#include <cstdio>
#include <initializer_list>
#include <string>

#include "common/Buffer.h"

// Byte strings for the tests of server messages, written as in the
// protocol's tables: Bytes({0x04, 0x04, ...}) and Hex(buffer) == "04 04 ...".
namespace quorlantest {

inline common::Buffer Bytes(std::initializer_list<int> bytes) {
  common::Buffer buffer(static_cast<unsigned>(bytes.size()), 200);
  for (const int byte : bytes) {
    buffer.Append(static_cast<unsigned char>(byte));
  }
  return buffer;
}

inline common::Buffer Bytes(const std::string& raw) {
  common::Buffer buffer(static_cast<unsigned>(raw.size()), 200);
  buffer.Append(raw.data(), static_cast<unsigned>(raw.size()));
  return buffer;
}

inline std::string Hex(const common::Buffer& buffer) {
  std::string text;
  char digits[4];
  for (unsigned i = 0; i < buffer.GetSize(); ++i) {
    std::snprintf(digits, sizeof(digits), i == 0 ? "%02X" : " %02X", buffer.GetData()[i]);
    text += digits;
  }
  return text;
}

}  // namespace quorlantest

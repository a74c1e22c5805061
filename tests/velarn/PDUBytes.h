#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include "common/Buffer.h"
#include "support/Thrown.h"

namespace velarntest {

// A buffer holding exactly the given bytes.
inline common::Buffer Bytes(std::initializer_list<int> bytes) {
  common::Buffer buffer(static_cast<unsigned>(bytes.size()), 200);
  for (int byte : bytes) {
    buffer.Append(static_cast<unsigned char>(byte));
  }
  return buffer;
}

inline std::vector<int> Content(const common::Buffer& buffer) {
  return std::vector<int>(buffer.GetData(), buffer.GetData() + buffer.GetSize());
}

inline std::string Text(const common::Buffer& buffer) {
  return std::string(reinterpret_cast<const char*>(buffer.GetData()), buffer.GetSize());
}

// Values of mixed types as one comparable list, so that a row of fields is
// checked in one assertion.
template <class... T>
std::vector<int64_t> Ints(T... values) {
  return {static_cast<int64_t>(values)...};
}

using testsupport::Thrown;

}  // namespace velarntest

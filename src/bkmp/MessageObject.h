#pragma once

// The library's inside view of a message: an ordered set of named, typed
// fields. Shared by the field functions and the wire format.

#include <cstdint>
#include <string>
#include <vector>

#include "bkmp/bkmp.h"

namespace bkmp {

// Bounds of one message, on both sides of the wire.
constexpr size_t kMaxFields = 512;
constexpr size_t kMaxKeyLength = 127;     // bytes, without terminator
constexpr size_t kMaxTextLength = 65535;  // bytes of a text, characters of a wide text

// What a wide text may hold: the characters of Unicode, nothing else, so that
// every wide text has one form on the wire and in any other language.
inline bool IsUnicodeScalar(uint32_t c) { return c != 0 && c <= 0x10FFFF && (c < 0xD800 || c > 0xDFFF); }

enum class FieldType : uint8_t {
  Int8 = 1,
  Uint8 = 2,
  Int16 = 3,
  Uint16 = 4,
  Int32 = 5,
  Long64 = 6,
  Bool = 7,
  Real = 8,
  Str = 9,
  UniStr = 10,
};

struct Field {
  std::string key;
  FieldType type = FieldType::Int8;
  int64_t integer = 0;  // every integer type and Bool (0 or 1)
  double real = 0.0;
  std::string text;
  std::wstring wideText;
};

}  // namespace bkmp

struct BKMPMessageObject {
  std::vector<bkmp::Field> fields;  // in order of first setting

  bkmp::Field* Find(const char* key);
  // Adds or replaces; BKMP_OK, BKMP_E_INVALID (bad key) or BKMP_E_NOMEM (too many fields).
  int Put(const char* key, bkmp::Field&& field);
};

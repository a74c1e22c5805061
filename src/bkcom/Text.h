#pragma once

#include <cstddef>
#include <cstring>
#include <string>

namespace bkcom {

// Fills a text field of a message (a buffer of N bytes, terminator included)
// with as much of text as fits. The cut never falls inside a UTF-8 sequence,
// so that the navigation application doesn't show half a character.
template <size_t N>
void CopyText(char (&buffer)[N], const std::string& text) {
  static_assert(N > 0, "a text buffer holds at least its terminator");
  size_t length = text.size() < N - 1 ? text.size() : N - 1;
  if (length < text.size()) {
    while (length > 0 && (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80) {
      --length;
    }
  }
  std::memcpy(buffer, text.data(), length);
  buffer[length] = '\0';
}

}  // namespace bkcom

#include "velarnctl/MsgHex.h"

#include <stdexcept>

namespace velarnctl {

namespace {

int DigitValue(char c) {
  if (c >= '0' && c <= '9') {
    return c - '0';
  }
  if (c >= 'a' && c <= 'f') {
    return c - 'a' + 10;
  }
  if (c >= 'A' && c <= 'F') {
    return c - 'A' + 10;
  }
  return -1;
}

}  // namespace

common::Buffer HexToBuffer(const std::string& text) {
  common::Buffer buffer(static_cast<unsigned>(text.size() / 2), 200);
  int high = -1;
  for (const char c : text) {
    if (c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == ':') {
      continue;
    }
    const int digit = DigitValue(c);
    if (digit < 0) {
      throw std::invalid_argument(std::string("invalid hex: unexpected character '") + c + "'");
    }
    if (high < 0) {
      high = digit;
    } else {
      buffer.Append(static_cast<unsigned char>(high << 4 | digit));
      high = -1;
    }
  }
  if (high >= 0) {
    throw std::invalid_argument("invalid hex: odd number of digits");
  }
  return buffer;
}

std::string BufferToHex(const common::Buffer& buffer) {
  static const char digits[] = "0123456789abcdef";
  std::string text;
  text.reserve(buffer.GetSize() * 2);
  for (unsigned i = 0; i < buffer.GetSize(); ++i) {
    text += digits[buffer.GetData()[i] >> 4];
    text += digits[buffer.GetData()[i] & 0x0F];
  }
  return text;
}

}  // namespace velarnctl

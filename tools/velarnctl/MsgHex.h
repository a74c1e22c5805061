#pragma once

#include <string>

#include "common/Buffer.h"

namespace velarnctl {

// Hex text as a server developer pastes it: pairs of digits in either case,
// blanks, line ends and colons between them ignored: "04 04 01 c2 07",
// "04:04:01:c2:07" and "040401C207" are the same five bytes.
// Fails with std::invalid_argument "invalid hex: ..." on any other character
// or an odd number of digits.
common::Buffer HexToBuffer(const std::string& text);

// Two lower-case digits per byte, no separators.
std::string BufferToHex(const common::Buffer& buffer);

}  // namespace velarnctl

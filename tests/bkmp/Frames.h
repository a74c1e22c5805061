#pragma once

// Frames the tests share: the worked example of the wire format document
// and malformed variants of it.

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "bkmp/Peers.h"

namespace bkmptest {

using Bytes = std::vector<uint8_t>;

// The example frame, and the message it carries.
extern const Bytes kExample;
MessagePtr ExampleMessage();

// Broken frames of many kinds, each with what is wrong with it.
std::vector<std::pair<std::string, Bytes>> MalformedFrames();

}  // namespace bkmptest

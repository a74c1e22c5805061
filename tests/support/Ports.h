#pragma once

#include <cstdint>

namespace testsupport {

// A loopback UDP port that was free a moment ago, for a process whose
// address its peer must know before either starts. Tests running in
// parallel each take their own instead of a fixed number.
uint16_t FreeUdpPort();

}  // namespace testsupport

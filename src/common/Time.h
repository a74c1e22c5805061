#pragma once

#include <cstdint>

// Clock readings and the conversion between the two time bases of the system:
// inside the daemon and in the database times count from 1970-01-01, the unit
// and the server count from 2000-01-01 (both UTC). 0 and all ones mean "no
// time" on both sides and cross every conversion unchanged.
namespace common {

// Seconds from 1970-01-01 to 2000-01-01.
constexpr uint32_t kEpoch2000 = 946684800u;

// The wall clock of GetClock(), for times that are reported or stored; no
// time-out may be measured with them (see common/Clock.h).
uint64_t GetTimeMs();  // milliseconds since 1970, truncated
uint32_t GetTime();    // seconds since 1970

uint32_t FromEpoch2000(uint32_t t);
uint32_t ToEpoch2000(uint32_t t);
uint64_t ToEpoch2000Ms(uint64_t t);

// Absolute difference, computed unsigned.
uint32_t TimeDifference(uint32_t a, uint32_t b);

}  // namespace common

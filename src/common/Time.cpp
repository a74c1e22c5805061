#include "common/Time.h"

#include "common/Clock.h"

namespace common {

uint64_t GetTimeMs() { return GetClock().WallMs(); }

uint32_t GetTime() { return static_cast<uint32_t>(GetClock().WallMs() / 1000u); }

uint32_t FromEpoch2000(uint32_t t) { return t == 0 || t == 0xFFFFFFFFu ? t : t + kEpoch2000; }

uint32_t ToEpoch2000(uint32_t t) { return t == 0 || t == 0xFFFFFFFFu ? t : t - kEpoch2000; }

uint64_t ToEpoch2000Ms(uint64_t t) {
  return t == 0 || t == ~static_cast<uint64_t>(0) ? t : t - static_cast<uint64_t>(kEpoch2000) * 1000u;
}

uint32_t TimeDifference(uint32_t a, uint32_t b) { return a > b ? a - b : b - a; }

}  // namespace common

#include "common/Time.h"

#include <sys/time.h>

namespace common {

uint64_t GetTimeMs() {
  timeval now{};
  gettimeofday(&now, nullptr);
  return static_cast<uint64_t>(now.tv_sec) * 1000u + static_cast<uint64_t>(now.tv_usec) / 1000u;
}

uint32_t GetTime() {
  timeval now{};
  gettimeofday(&now, nullptr);
  return static_cast<uint32_t>(now.tv_sec);
}

uint32_t FromEpoch2000(uint32_t t) { return t == 0 || t == 0xFFFFFFFFu ? t : t + kEpoch2000; }

uint32_t ToEpoch2000(uint32_t t) { return t == 0 || t == 0xFFFFFFFFu ? t : t - kEpoch2000; }

uint64_t ToEpoch2000Ms(uint64_t t) {
  return t == 0 || t == ~static_cast<uint64_t>(0) ? t : t - static_cast<uint64_t>(kEpoch2000) * 1000u;
}

uint32_t TimeDifference(uint32_t a, uint32_t b) { return a > b ? a - b : b - a; }

}  // namespace common

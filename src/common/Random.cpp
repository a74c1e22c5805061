#include "common/Random.h"

#include <sys/time.h>

#include <cstdlib>

namespace common {

Random::Random() {
  timeval now{};
  gettimeofday(&now, nullptr);
  seed = static_cast<unsigned>(now.tv_sec) * static_cast<unsigned>(now.tv_usec);
}

int Random::Next() { return rand_r(&seed); }

}  // namespace common

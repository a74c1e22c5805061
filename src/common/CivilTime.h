#pragma once

#include <cstdint>
#include <ctime>

namespace common {

// gmtime_r for any 64-bit count of seconds since 1970, on every platform.
// The device's C library has a 32-bit time_t (Debian's armhf, whose Boost is
// built that way, so it can't be widened here), and gmtime_r there turns
// every time after 19 January 2038 into one of 1901; the unit's and the
// server's clocks run far beyond that. Fills every field of parts that
// gmtime_r fills (tm_isdst 0); false when the year doesn't fit tm_year.
bool ToUtc(int64_t secondsSince1970, std::tm& parts);

}  // namespace common

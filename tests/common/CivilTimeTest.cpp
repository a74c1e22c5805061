#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <ctime>
#include <string>

#include "common/CivilTime.h"

namespace {

std::string Text(const std::tm& parts) {
  char text[64];
  return std::strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S wday=%w yday=%j", &parts) > 0 ? text : "?";
}

// Dates a 32-bit time_t can't hold are the point: each platform checks them
// against fixed texts, and whatever its gmtime_r can hold against gmtime_r.
TEST(CivilTimeTest, AgreesWithTheCalendarBeyondTheReachOfA32BitTimeT) {
  const struct {
    int64_t seconds;
    const char* expected;
  } rows[] = {
      {0, "1970-01-01 00:00:00 wday=4 yday=001"},
      {-1, "1969-12-31 23:59:59 wday=3 yday=365"},
      {INT32_MAX, "2038-01-19 03:14:07 wday=2 yday=019"},
      {INT64_C(2147483648), "2038-01-19 03:14:08 wday=2 yday=019"},
      {INT64_C(951782400), "2000-02-29 00:00:00 wday=2 yday=060"},
      {INT64_C(4107542400), "2100-03-01 00:00:00 wday=1 yday=060"},  // 2100 is no leap year
      {INT64_C(4294967295), "2106-02-07 06:28:15 wday=0 yday=038"},
      {INT64_C(11101651199), "2321-10-19 07:59:59 wday=3 yday=292"},
      {INT64_C(-2208988801), "1899-12-31 23:59:59 wday=0 yday=365"},
  };
  for (const auto& row : rows) {
    std::tm parts{};
    ASSERT_TRUE(common::ToUtc(row.seconds, parts)) << row.seconds;
    EXPECT_EQ(row.expected, Text(parts)) << row.seconds;
  }
  std::tm parts{};
  EXPECT_FALSE(common::ToUtc(INT64_MAX, parts));
  EXPECT_FALSE(common::ToUtc(INT64_MIN, parts));

  // A sweep of odd steps over +-4000 years, against the C library.
  for (int64_t seconds = -INT64_C(126230400000); seconds < INT64_C(126230400000);
       seconds += INT64_C(86399 * 997 + 13)) {
    const time_t native = static_cast<time_t>(seconds);
    std::tm expected{};
    if (static_cast<int64_t>(native) != seconds || gmtime_r(&native, &expected) == nullptr) {
      continue;
    }
    ASSERT_TRUE(common::ToUtc(seconds, parts));
    ASSERT_EQ(Text(expected), Text(parts)) << seconds;
  }
}

}  // namespace

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "nmea/NMEAFields.h"

namespace {

// On the device time_t has 32 bits: sentences must not jump back to 1901.
TEST(DatesAfter2038Test, SentenceDateAndTime) {
  // 2040-02-29 12:34:56 UTC, in the unit's seconds since 2000.
  const uint32_t leapDay2040 = UINT32_C(1267446896);
  std::string date;
  std::string time;
  nmea::AppendDate(date, leapDay2040);
  nmea::AppendTime(time, leapDay2040);
  EXPECT_EQ("290240", date);
  EXPECT_EQ("123456", time);
}

}  // namespace

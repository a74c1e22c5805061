#include "common/CivilTime.h"

#include <climits>

namespace common {

namespace {

bool IsLeap(int64_t year) { return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0); }

}  // namespace

bool ToUtc(int64_t secondsSince1970, std::tm& parts) {
  int64_t days = secondsSince1970 / 86400;
  int64_t second = secondsSince1970 % 86400;
  if (second < 0) {
    second += 86400;
    --days;
  }
  // The Gregorian calendar in eras of 400 years (146097 days), counted from
  // 1 March of year 0 so that a leap day is the last day of its year.
  const int64_t fromMarch0 = days + 719468;
  const int64_t era = (fromMarch0 >= 0 ? fromMarch0 : fromMarch0 - 146096) / 146097;
  const int64_t dayOfEra = fromMarch0 - era * 146097;
  const int64_t yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);  // from 1 March
  const int64_t monthFromMarch = (5 * dayOfYear + 2) / 153;
  const int64_t month = monthFromMarch < 10 ? monthFromMarch + 3 : monthFromMarch - 9;
  const int64_t year = yearOfEra + era * 400 + (month <= 2 ? 1 : 0);
  if (year - 1900 < INT_MIN || year - 1900 > INT_MAX) {
    return false;
  }
  parts = std::tm{};
  parts.tm_year = static_cast<int>(year - 1900);
  parts.tm_mon = static_cast<int>(month - 1);
  parts.tm_mday = static_cast<int>(dayOfYear - (153 * monthFromMarch + 2) / 5 + 1);
  parts.tm_hour = static_cast<int>(second / 3600);
  parts.tm_min = static_cast<int>(second / 60 % 60);
  parts.tm_sec = static_cast<int>(second % 60);
  parts.tm_wday = static_cast<int>(((days % 7) + 11) % 7);  // 1 January 1970 was a Thursday
  parts.tm_yday = static_cast<int>(month <= 2 ? dayOfYear - 306 : dayOfYear + 59 + (IsLeap(year) ? 1 : 0));
  return true;
}

}  // namespace common

#include "nmea/NMEAFields.h"

#include <time.h>

#include <cmath>
#include <cstdlib>

#include "common/CivilTime.h"
#include "common/Time.h"

namespace nmea {

namespace {

// Decimal, zero-filled to at least width digits.
void AppendPadded(std::string& out, unsigned long long value, size_t width) {
  const std::string digits = std::to_string(value);
  if (digits.size() < width) {
    out.append(width - digits.size(), '0');
  }
  out += digits;
}

// "v / 10" "." "v % 10" of a value that isn't negative.
void AppendUnsignedTenths(std::string& out, unsigned long long value) {
  out += std::to_string(value / 10);
  out += '.';
  out += static_cast<char>('0' + value % 10);
}

bool BreakDown(uint32_t time, struct tm& parts) { return common::ToUtc(common::FromEpoch2000(time), parts); }

// Degrees and ten-thousandths of a minute of the absolute value, then the
// hemisphere letter.
void AppendCoordinate(std::string& out, int32_t value, size_t degreeDigits, char positive, char negative) {
  if (value == kEmptyI32) {
    out += ',';
    return;
  }
  const unsigned long long absolute = static_cast<unsigned long long>(std::llabs(value));
  const unsigned long long degrees = absolute / 1000000;
  const unsigned long long minutes = (absolute - degrees * 1000000) * 6 / 10;
  AppendPadded(out, degrees, degreeDigits);
  AppendPadded(out, minutes / 10000, 2);
  out += '.';
  AppendPadded(out, minutes % 10000, 4);
  out += ',';
  out += value >= 0 ? positive : negative;
}

}  // namespace

void AppendTime(std::string& out, uint32_t time) {
  struct tm parts;
  if (time == kEmptyU32 || !BreakDown(time, parts)) {
    return;
  }
  AppendPadded(out, static_cast<unsigned>(parts.tm_hour), 2);
  AppendPadded(out, static_cast<unsigned>(parts.tm_min), 2);
  AppendPadded(out, static_cast<unsigned>(parts.tm_sec), 2);
}

void AppendDate(std::string& out, uint32_t time) {
  struct tm parts;
  if (time == kEmptyU32 || !BreakDown(time, parts)) {
    return;
  }
  AppendPadded(out, static_cast<unsigned>(parts.tm_mday), 2);
  AppendPadded(out, static_cast<unsigned>(parts.tm_mon + 1), 2);
  AppendPadded(out, static_cast<unsigned>((parts.tm_year + 1900) % 100), 2);
}

void AppendLatitude(std::string& out, int32_t latitude) { AppendCoordinate(out, latitude, 2, 'N', 'S'); }

void AppendLongitude(std::string& out, int32_t longitude) { AppendCoordinate(out, longitude, 3, 'E', 'W'); }

void AppendTenths(std::string& out, uint16_t value) {
  if (value != kEmptyU16) {
    AppendUnsignedTenths(out, value);
  }
}

void AppendTenths(std::string& out, int32_t value) {
  if (value == kEmptyI32) {
    return;
  }
  // The sign is written apart, so that -0.5 keeps it.
  if (value < 0) {
    out += '-';
  }
  AppendUnsignedTenths(out, static_cast<unsigned long long>(std::llabs(value)));
}

void AppendKnots(std::string& out, uint16_t speed) {
  if (speed != kEmptyU16) {
    AppendUnsignedTenths(out, static_cast<unsigned long long>(std::round(speed * 0.54)));
  }
}

void AppendVariation(std::string& out, uint16_t variation, char direction) {
  if (variation == kEmptyU16 || direction == kEmptyChar) {
    out += ',';
    return;
  }
  AppendTenths(out, variation);
  out += ',';
  out += direction;
}

void AppendDecimal(std::string& out, uint8_t value) {
  if (value != kEmptyU8) {
    out += std::to_string(value);
  }
}

void AppendDecimal(std::string& out, uint16_t value) {
  if (value != kEmptyU16) {
    out += std::to_string(value);
  }
}

void AppendDecimal(std::string& out, int16_t value) {
  if (value != kEmptyI16) {
    out += std::to_string(value);
  }
}

void AppendTwoDigits(std::string& out, uint8_t value) {
  if (value != kEmptyU8) {
    AppendPadded(out, value, 2);
  }
}

void AppendChar(std::string& out, char value) {
  if (value != kEmptyChar) {
    out += value;
  }
}

}  // namespace nmea

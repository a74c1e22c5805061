#pragma once

#include <cstdint>
#include <string>

// How the fields of the sentences are written. Each function appends one field
// (two for the pairs) to a sentence body, or nothing when the value is at its
// empty marker; the caller writes the separating commas.
namespace nmea {

constexpr char kEmptyChar = static_cast<char>(0xFF);
constexpr uint8_t kEmptyU8 = 0xFF;
constexpr uint16_t kEmptyU16 = 0xFFFF;
constexpr int16_t kEmptyI16 = 0x7FFF;
constexpr uint32_t kEmptyU32 = 0xFFFFFFFF;
constexpr int32_t kEmptyI32 = 0x7FFFFFFF;
constexpr uint64_t kEmptyMask = ~static_cast<uint64_t>(0);

// "HHMMSS" in UTC of a time in seconds since 2000-01-01.
void AppendTime(std::string& out, uint32_t time);
// "DDMMYY" in UTC of a time in seconds since 2000-01-01.
void AppendDate(std::string& out, uint32_t time);
// "DDMM.mmmm,N" or ",S" from millionths of a degree; an empty one writes ",".
void AppendLatitude(std::string& out, int32_t latitude);
// "DDDMM.mmmm,E" or ",W"; an empty one writes ",".
void AppendLongitude(std::string& out, int32_t longitude);
// A value in tenths: "23.4".
void AppendTenths(std::string& out, uint16_t value);
// A signed value in tenths: "-12.5".
void AppendTenths(std::string& out, int32_t value);
// A speed in tenths of km/h, written as tenths of a knot.
void AppendKnots(std::string& out, uint16_t speed);
// Tenths of the variation, ",", the direction; both empty unless both are set.
void AppendVariation(std::string& out, uint16_t variation, char direction);
// Decimal without padding.
void AppendDecimal(std::string& out, uint8_t value);
void AppendDecimal(std::string& out, uint16_t value);
void AppendDecimal(std::string& out, int16_t value);
// Two digits, zero-filled.
void AppendTwoDigits(std::string& out, uint8_t value);
// The character itself.
void AppendChar(std::string& out, char value);

}  // namespace nmea

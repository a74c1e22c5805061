#pragma once

#include <cstdint>
#include <string>

#include "nmea/ANMEASentence.h"

namespace nmea {

// Recommended minimum data: time, status, position, speed, course, date and
// magnetic variation. Filled by velarn::GPSFixEx::Fill.
class RMCSentence : public ANMEASentence {
 public:
  const std::string& GetType() const override { return kTypeRMC; }
  std::string GetBody() const override;

  uint32_t time = 0xFFFFFFFF;  // seconds since 2000-01-01 UTC; gives time and date
  char status = static_cast<char>(0xFF);
  int32_t latitude = 0x7FFFFFFF;                              // millionths of a degree
  int32_t longitude = 0x7FFFFFFF;                             // millionths of a degree
  uint16_t speed = 0xFFFF;                                    // tenths of km/h, written in knots
  uint16_t course = 0xFFFF;                                   // tenths of a degree
  uint16_t magneticVariation = 0xFFFF;                        // tenths of a degree
  char magneticVariationDirection = static_cast<char>(0xFF);  // 'E' or 'W'
};

}  // namespace nmea

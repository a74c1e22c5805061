#pragma once

#include <cstdint>
#include <string>

#include "nmea/ANMEASentence.h"

namespace nmea {

// Fix data with altitude. Renders like the others; nothing in the daemon
// fills it.
class GGASentence : public ANMEASentence {
 public:
  const std::string& GetType() const override { return kTypeGGA; }
  std::string GetBody() const override;

  uint32_t time = 0xFFFFFFFF;      // seconds since 2000-01-01 UTC
  int32_t latitude = 0x7FFFFFFF;   // millionths of a degree
  int32_t longitude = 0x7FFFFFFF;  // millionths of a degree
  uint8_t quality = 0xFF;
  uint8_t satellitesUsed = 0xFF;     // written with two digits
  uint16_t hdop = 0xFFFF;            // tenths
  int32_t altitude = 0x7FFFFFFF;     // tenths of a metre
  int32_t geoidHeight = 0x7FFFFFFF;  // tenths of a metre
};

}  // namespace nmea

#pragma once

#include <cstdint>
#include <string>

#include "nmea/ANMEASentence.h"

namespace nmea {

// Dilution of precision and the satellites in use. Filled by
// velarn::GPSFixEx::Fill.
class GSASentence : public ANMEASentence {
 public:
  // The list of satellites in use always has this many places.
  static const unsigned kSatellitePlaces = 12;

  const std::string& GetType() const override { return kTypeGSA; }
  std::string GetBody() const override;

  char mode = static_cast<char>(0xFF);
  uint8_t fixType = 0xFF;
  // Bit n set: satellite n+1 takes part; all bits set means none is known.
  uint64_t satelliteMask = ~static_cast<uint64_t>(0);
  uint16_t pdop = 0xFFFF;  // tenths
  uint16_t hdop = 0xFFFF;  // tenths
  uint16_t vdop = 0xFFFF;  // tenths
};

}  // namespace nmea

#pragma once

#include <cstdint>
#include <string>

#include "nmea/ANMEASentence.h"
#include "velarn/pdu/GPSFix.h"

namespace nmea {

// Satellites in view, four per sentence; a fix gives a group of them. Built by
// velarn::GPSFixEx::Fill.
class GSVSentence : public ANMEASentence {
 public:
  static const unsigned kSatellitesPerSentence = 4;

  const std::string& GetType() const override { return kTypeGSV; }
  std::string GetBody() const override;

  uint8_t sentenceCount = 0xFF;
  uint8_t sentenceNumber = 0xFF;
  uint8_t satellitesInView = 0xFF;
  // An entry whose number is 0 or 0xFF isn't written at all.
  velarn::SatelliteInfo satellites[kSatellitesPerSentence];
};

}  // namespace nmea

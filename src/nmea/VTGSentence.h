#pragma once

#include <cstdint>
#include <string>

#include "nmea/ANMEASentence.h"

namespace nmea {

// Course and speed over ground. Renders like the others; nothing in the
// daemon fills it.
class VTGSentence : public ANMEASentence {
 public:
  const std::string& GetType() const override { return kTypeVTG; }
  std::string GetBody() const override;

  uint16_t course = 0xFFFF;          // tenths of a degree, true
  uint16_t magneticCourse = 0xFFFF;  // tenths of a degree, magnetic
  uint16_t speed = 0xFFFF;           // tenths of km/h
};

}  // namespace nmea

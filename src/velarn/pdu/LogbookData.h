#pragma once

#include <cstdint>

namespace velarn {

// The unit's logbook data (PDU 1:2), copied whole into events. All 0 until
// decoded. The trip fields count only while tripValid is true.
struct LogbookData {
  uint32_t odometer = 0;
  uint32_t mode = 0;
  bool tripValid = false;
  uint32_t tripOdometer = 0;  // odometer at the start of the trip
  uint32_t tripStarted = 0;
  uint32_t tripDuration = 0;
  uint32_t tripDistance = 0;
  // Carried as they come; their meaning isn't settled.
  uint32_t reserved1 = 0;
  uint32_t reserved2 = 0;
  uint32_t reserved3 = 0;
};

}  // namespace velarn

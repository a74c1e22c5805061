#pragma once

#include <cstdint>
#include <string>

namespace velarn {

// One row of the unit's status table. The key 0xFFFF marks a row that hasn't
// been received yet, which is why the unit may never send it.
struct StatusTableRow {
  uint16_t key = 0xFFFF;
  std::string text;
};

}  // namespace velarn

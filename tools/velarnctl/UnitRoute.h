#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>

#include "velarn/pdu/GPSFix.h"

namespace velarnctl {

// The simulated unit's drive: a closed loop of a few kilometres through a
// city centre, driven round and round at a steady speed. Each fix gives the
// place reached, the course of the present leg, and a fixed constellation of
// eight satellites in view (seven in use) for the extended block, whose
// fields are those of a good 3D fix.
class UnitRoute {
 public:
  explicit UnitRoute(unsigned speedKmh = 50);

  // Drives on for this many milliseconds.
  void Advance(unsigned milliseconds);

  // The fix at the present place. time: seconds since 2000-01-01 UTC.
  void Fill(uint32_t time, velarn::GPSFix& fix, velarn::GPSFixEx& fixEx) const;

  // Metres driven since the start, the unit's trip value.
  uint32_t Driven() const { return static_cast<uint32_t>(std::lround(driven)); }

 private:
  // The present position in millionths of a degree and the course in
  // degrees from north, clockwise.
  void Place(int32_t& latitude, int32_t& longitude, unsigned& course) const;

  unsigned speedKmh;
  size_t leg;     // index of the waypoint the present leg starts at
  double along;   // metres driven on the present leg
  double driven;  // metres driven in all
};

}  // namespace velarnctl

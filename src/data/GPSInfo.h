#pragma once

#include <boost/serialization/tracking.hpp>
#include <boost/serialization/version.hpp>

#include "data/Position.h"

namespace data {

// A position fix, from the unit or from the navigation application.
class GPSInfo {
 public:
  GPSInfo() = default;

  // Back to no position: status 'V', the null position, all numbers 0.
  void Reset() { *this = GPSInfo(); }

  // Archive form: status (1 byte), position, time, satellites (1 byte),
  // speed (2 bytes), course (2 bytes).
  template <class Archive>
  void serialize(Archive& archive, const unsigned int version);

  char status = 'V';  // 'A' live fix, 'L' last known position, 'V' no position
  Position position;
  unsigned time = 0;  // seconds since 1970
  unsigned char satellites = 0;
  // Passed on as the unit reports them; the server gets half the course in one byte.
  unsigned short speed = 0;
  unsigned short course = 0;
};

}  // namespace data

BOOST_CLASS_VERSION(data::GPSInfo, 1)
BOOST_CLASS_TRACKING(data::GPSInfo, boost::serialization::track_never)

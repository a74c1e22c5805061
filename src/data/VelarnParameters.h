#pragma once

#include <cstdint>

#include <boost/serialization/tracking.hpp>
#include <boost/serialization/version.hpp>

#include "data/GPSInfo.h"
#include "data/LogbookInfo.h"

namespace data {

// What the daemon knows of the telematics unit.
class VelarnParameters {
 public:
  VelarnParameters() = default;

  void Reset() { *this = VelarnParameters(); }

  // Archive form (class version 2): linkLostAt (8 bytes), gps, odometer,
  // tripValue, registered, homeNetwork, logbook; from version 2
  // gpsFeedEnabled.
  template <class Archive>
  void serialize(Archive& archive, const unsigned int version);

  uint64_t linkLostAt = 0;  // milliseconds since 1970 of the last link loss; 0: none
  GPSInfo gps;              // the unit's last fix
  unsigned odometer = 0;
  unsigned tripValue = 0;    // trailing value of the unit's GPS fix
  bool registered = false;   // in a mobile network
  bool homeNetwork = false;  // that network is the home network
  LogbookInfo logbook;
  bool gpsFeedEnabled = false;  // the unit's parameter "GPF"
};

}  // namespace data

BOOST_CLASS_VERSION(data::VelarnParameters, 2)
BOOST_CLASS_TRACKING(data::VelarnParameters, boost::serialization::track_never)

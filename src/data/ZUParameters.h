#pragma once

#include <cstdint>
#include <string>

#include <boost/serialization/tracking.hpp>
#include <boost/serialization/version.hpp>

#include "data/GPSInfo.h"
#include "data/LogbookInfo.h"

namespace data {

// What the daemon knows of the navigation side. No reset: the defaults come
// from the constructor alone.
class ZUParameters {
 public:
  ZUParameters() = default;

  // Archive form (class version 2): lastEta, etaOrderId, driverId,
  // reservedTime (8 bytes), gps, logbookMode; from version 2 NCVersion,
  // NCBuild, SNR. driverId stands before reservedTime in the file.
  template <class Archive>
  void serialize(Archive& archive, const unsigned int version);

  unsigned lastEta = 0;       // the arrival time of the last report
  unsigned etaOrderId = 0;    // the order whose arrival is reported; 0: none
  uint64_t reservedTime = 0;  // carried in the file, set by nobody
  unsigned driverId = 0;
  GPSInfo gps;                                    // the navigation application's last position
  LogbookMode logbookMode = LogbookModeBusiness;  // the wanted mode
  // From the navigation application's handshake.
  std::string NCVersion;
  std::string NCBuild;
  std::string SNR;
};

}  // namespace data

BOOST_CLASS_VERSION(data::ZUParameters, 2)
BOOST_CLASS_TRACKING(data::ZUParameters, boost::serialization::track_never)

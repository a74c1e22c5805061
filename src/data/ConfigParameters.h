#pragma once

#include <boost/serialization/tracking.hpp>
#include <boost/serialization/version.hpp>

namespace data {

// The settings the server sends; until it does, everything is off.
class ConfigParameters {
 public:
  ConfigParameters() = default;

  void Reset() { *this = ConfigParameters(); }

  // Archive form (class version 3): from version 2 configured; then
  // askDriverId, logbookEnabled, thirdLogbookMode, workingTimeEnabled,
  // logbookFollowsWorkingTime, etaEnabled, etaIntervalHome,
  // etaIntervalRoaming, privacyEnabled; from version 2 resetMode; from
  // version 3 newSessionBoundary.
  template <class Archive>
  void serialize(Archive& archive, const unsigned int version);

  bool configured = false;
  bool askDriverId = false;
  bool logbookEnabled = false;
  bool thirdLogbookMode = false;
  bool workingTimeEnabled = false;
  bool logbookFollowsWorkingTime = false;
  bool etaEnabled = false;
  unsigned etaIntervalHome = 600;      // seconds
  unsigned etaIntervalRoaming = 3600;  // seconds
  bool privacyEnabled = false;
  unsigned char resetMode = 0;
  unsigned newSessionBoundary = 0;
};

}  // namespace data

BOOST_CLASS_VERSION(data::ConfigParameters, 3)
BOOST_CLASS_TRACKING(data::ConfigParameters, boost::serialization::track_never)

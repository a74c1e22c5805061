#pragma once

#include <boost/serialization/tracking.hpp>
#include <boost/serialization/version.hpp>

namespace data {

// The logbook modes as the daemon and the unit number them. Mode 2 is the one
// that counts as private for the privacy state.
enum LogbookMode : int {
  LogbookModeNone = 0,
  LogbookModePrivate = 2,
  LogbookModeBusiness = 3,
  LogbookModeThird = 4,  // offered to the driver only when configured
};

// The unit's logbook state as it last reported it. The trip figures are
// passed on as they come.
class LogbookInfo {
 public:
  LogbookInfo() = default;

  void Reset() { *this = LogbookInfo(); }

  // Archive form: mode, tripValid (1 byte), tripOdometer, tripStarted,
  // tripDuration, tripDistance.
  template <class Archive>
  void serialize(Archive& archive, const unsigned int version);

  LogbookMode mode = LogbookModeNone;  // the mode in force in the unit
  bool tripValid = false;              // the four trip fields count
  unsigned tripOdometer = 0;
  unsigned tripStarted = 0;
  unsigned tripDuration = 0;
  unsigned tripDistance = 0;
};

}  // namespace data

BOOST_CLASS_VERSION(data::LogbookInfo, 1)
BOOST_CLASS_TRACKING(data::LogbookInfo, boost::serialization::track_never)

#pragma once

#include <boost/serialization/tracking.hpp>
#include <boost/serialization/version.hpp>

namespace data {

// The driver's working time clock: off work, working, in a pause. Times are
// seconds since 1970; 0 means none.
class WorkingTimeReporting {
 public:
  enum State : int { Working = 1, Pause = 2, OffWork = 3 };
  // Action values are bits, so that the allowed ones form a mask.
  enum Action : unsigned { StartOfWork = 2, EndOfWork = 4, StartOfPause = 8, EndOfPause = 16 };

  WorkingTimeReporting() = default;

  // Off work, no times.
  void Reset() { *this = WorkingTimeReporting(); }

  // One step of the clock at the present time; true if the action is allowed
  // in the present state. A refused action changes nothing.
  bool Apply(unsigned action);
  // The same at a given time (seconds since 1970).
  bool Apply(unsigned action, unsigned now);

  // The actions Apply takes now: 12 working, 20 in a pause, 2 off work.
  unsigned GetAllowedActions() const;

  State GetState() const { return state; }
  unsigned GetStartOfWork() const { return startOfWork; }
  unsigned GetEndOfWork() const { return endOfWork; }
  unsigned GetStartOfLastPause() const { return startOfLastPause; }
  unsigned GetEndOfLastPause() const { return endOfLastPause; }
  // Kept in the file; the daemon itself reports it to nobody.
  unsigned GetLastChange() const { return lastChange; }

  // Archive form (class version 0): state, lastChange, startOfWork,
  // endOfWork, startOfLastPause, endOfLastPause.
  template <class Archive>
  void serialize(Archive& archive, const unsigned int version);

 private:
  State state = OffWork;
  unsigned lastChange = 0;
  unsigned startOfWork = 0;
  unsigned endOfWork = 0;
  unsigned startOfLastPause = 0;
  unsigned endOfLastPause = 0;
};

}  // namespace data

BOOST_CLASS_VERSION(data::WorkingTimeReporting, 0)
BOOST_CLASS_TRACKING(data::WorkingTimeReporting, boost::serialization::track_never)

#include "data/WorkingTimeReporting.h"

#include "common/Time.h"

namespace data {

bool WorkingTimeReporting::Apply(unsigned action) { return Apply(action, common::GetTime()); }

bool WorkingTimeReporting::Apply(unsigned action, unsigned now) {
  if (state == OffWork && action == StartOfWork) {
    // A new working day keeps nothing of the one before.
    state = Working;
    startOfWork = now;
    endOfWork = startOfLastPause = endOfLastPause = 0;
  } else if (state == Working && action == EndOfWork) {
    state = OffWork;
    endOfWork = now;
    // Only a pause that was taken and never ended gets an end here.
    if (startOfLastPause != 0 && endOfLastPause == 0) {
      endOfLastPause = now;
    }
  } else if (state == Working && action == StartOfPause) {
    state = Pause;
    startOfLastPause = now;
    endOfLastPause = 0;
  } else if (state == Pause && action == EndOfWork) {
    state = OffWork;
    endOfWork = now;
    endOfLastPause = now;
  } else if (state == Pause && action == EndOfPause) {
    state = Working;
    endOfLastPause = now;
  } else {
    return false;
  }
  lastChange = now;
  return true;
}

unsigned WorkingTimeReporting::GetAllowedActions() const {
  switch (state) {
    case Working:
      return EndOfWork | StartOfPause;
    case Pause:
      return EndOfWork | EndOfPause;
    case OffWork:
      return StartOfWork;
    default:
      return 0;
  }
}

}  // namespace data

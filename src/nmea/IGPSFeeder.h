#pragma once

namespace nmea {

class ANMEASentence;

// Where the daemon's NMEA sentences go. Closed at first; sentences are
// written only while open, nothing is kept while closed.
class IGPSFeeder {
 public:
  virtual ~IGPSFeeder() = default;
  // Throws InvalidOperationException("feeder is just open") when open.
  virtual void Open() = 0;
  virtual void Write(const ANMEASentence& sentence) = 0;
  // Throws InvalidOperationException("feeder is just closed") when closed.
  virtual void Close() = 0;
  virtual bool IsOpen() const = 0;
};

}  // namespace nmea

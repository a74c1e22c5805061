#pragma once

#include "nmea/IGPSFeeder.h"

namespace nmea {

// The feeder when no pipe is configured: it keeps the open/closed state of a
// real one, so that its users don't have to ask, and writes nothing.
class NullGPSFeeder : public IGPSFeeder {
 public:
  void Open() override;
  void Write(const ANMEASentence& sentence) override;
  void Close() override;
  bool IsOpen() const override { return open; }

 private:
  bool open = false;
};

}  // namespace nmea

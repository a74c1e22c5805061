#include "nmea/NullGPSFeeder.h"

#include "common/Exceptions.h"

namespace nmea {

void NullGPSFeeder::Open() {
  if (open) {
    throw InvalidOperationException("feeder is just open");
  }
  open = true;
}

void NullGPSFeeder::Write(const ANMEASentence&) {}

void NullGPSFeeder::Close() {
  if (!open) {
    throw InvalidOperationException("feeder is just closed");
  }
  open = false;
}

}  // namespace nmea

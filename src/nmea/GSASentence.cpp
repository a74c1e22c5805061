#include "nmea/GSASentence.h"

#include "nmea/NMEAFields.h"

namespace nmea {

std::string GSASentence::GetBody() const {
  std::string body = kTalker + kTypeGSA;
  body += ',';
  AppendChar(body, mode);
  body += ',';
  AppendDecimal(body, fixType);
  body += ',';
  // The lowest numbers first, at most 12 of them; the places left over stay
  // empty so that the list keeps its 12 places.
  unsigned places = 0;
  if (satelliteMask != kEmptyMask) {
    for (unsigned number = 1; number <= 64 && places < kSatellitePlaces; ++number) {
      if (satelliteMask >> (number - 1) & 1) {
        AppendTwoDigits(body, static_cast<uint8_t>(number));
        body += ',';
        ++places;
      }
    }
  }
  body.append(kSatellitePlaces - places, ',');
  AppendTenths(body, pdop);
  body += ',';
  AppendTenths(body, hdop);
  body += ',';
  AppendTenths(body, vdop);
  return body;
}

}  // namespace nmea

#include "nmea/GSVSentence.h"

#include "nmea/NMEAFields.h"

namespace nmea {

std::string GSVSentence::GetBody() const {
  std::string body = kTalker + kTypeGSV;
  body += ',';
  AppendDecimal(body, sentenceCount);
  body += ',';
  AppendDecimal(body, sentenceNumber);
  body += ',';
  AppendDecimal(body, satellitesInView);
  for (const velarn::SatelliteInfo& satellite : satellites) {
    if (satellite.number == 0 || satellite.number == kEmptyU8) {
      continue;
    }
    body += ',';
    AppendDecimal(body, satellite.number);
    body += ',';
    AppendDecimal(body, satellite.elevation);
    body += ',';
    AppendDecimal(body, satellite.azimuth);
    body += ',';
    AppendDecimal(body, satellite.signal);
  }
  return body;
}

}  // namespace nmea

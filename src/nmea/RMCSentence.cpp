#include "nmea/RMCSentence.h"

#include "nmea/NMEAFields.h"

namespace nmea {

std::string RMCSentence::GetBody() const {
  std::string body = kTalker + kTypeRMC;
  body += ',';
  AppendTime(body, time);
  body += ',';
  AppendChar(body, status);
  body += ',';
  AppendLatitude(body, latitude);
  body += ',';
  AppendLongitude(body, longitude);
  body += ',';
  AppendKnots(body, speed);
  body += ',';
  AppendTenths(body, course);
  body += ',';
  AppendDate(body, time);
  body += ',';
  AppendVariation(body, magneticVariation, magneticVariationDirection);
  return body;
}

}  // namespace nmea

#include "nmea/GGASentence.h"

#include "nmea/NMEAFields.h"

namespace nmea {

std::string GGASentence::GetBody() const {
  std::string body = kTalker + kTypeGGA;
  body += ',';
  AppendTime(body, time);
  body += ',';
  AppendLatitude(body, latitude);
  body += ',';
  AppendLongitude(body, longitude);
  body += ',';
  AppendDecimal(body, quality);
  body += ',';
  AppendTwoDigits(body, satellitesUsed);
  body += ',';
  AppendTenths(body, hdop);
  body += ',';
  AppendTenths(body, altitude);
  body += ",M,";
  AppendTenths(body, geoidHeight);
  // Units of the geoid height, then the two differential fields, left empty.
  body += ",M,,";
  return body;
}

}  // namespace nmea

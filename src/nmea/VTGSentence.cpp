#include "nmea/VTGSentence.h"

#include "nmea/NMEAFields.h"

namespace nmea {

std::string VTGSentence::GetBody() const {
  std::string body = kTalker + kTypeVTG;
  body += ',';
  AppendTenths(body, course);
  body += ",T,";
  AppendTenths(body, magneticCourse);
  body += ",M,";
  AppendKnots(body, speed);
  body += ",N,";
  AppendTenths(body, speed);
  body += ",K";
  return body;
}

}  // namespace nmea

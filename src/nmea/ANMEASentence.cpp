#include "nmea/ANMEASentence.h"

namespace nmea {

const std::string kTalker = "GP";
const std::string kTypeGGA = "GGA";
const std::string kTypeGSA = "GSA";
const std::string kTypeGSV = "GSV";
const std::string kTypeRMC = "RMC";
const std::string kTypeVTG = "VTG";
const char kHexDigits[] = "0123456789ABCDEF";

std::string ToString(const ANMEASentence& sentence) {
  const std::string body = sentence.GetBody();
  unsigned char checksum = 0;
  for (char c : body) {
    checksum ^= static_cast<unsigned char>(c);
  }
  std::string line;
  line.reserve(body.size() + 6);
  line += '$';
  line += body;
  line += '*';
  line += kHexDigits[checksum >> 4];
  line += kHexDigits[checksum & 0x0F];
  line += "\r\n";
  return line;
}

}  // namespace nmea

#pragma once

#include <string>

namespace nmea {

// The talker of every sentence written here, and the sentence types.
extern const std::string kTalker;  // "GP"
extern const std::string kTypeGGA;
extern const std::string kTypeGSA;
extern const std::string kTypeGSV;
extern const std::string kTypeRMC;
extern const std::string kTypeVTG;
// Upper-case digits of the checksum.
extern const char kHexDigits[];  // "0123456789ABCDEF"

// One NMEA 0183 sentence: a small value class whose fields start at their
// empty markers (all ones, 0x7FFFFFFF for signed 32-bit values, 0x7FFF for a
// signed 16-bit one). A field at its marker renders as nothing between its
// commas.
class ANMEASentence {
 public:
  virtual ~ANMEASentence() = default;
  virtual const std::string& GetType() const = 0;
  // Talker, type and the fields, separated by commas; no "$", no "*".
  virtual std::string GetBody() const = 0;
};

// The whole line: "$", the body, "*", the checksum (exclusive-or of the body's
// bytes) as two upper-case hexadecimal digits, and "\r\n".
std::string ToString(const ANMEASentence& sentence);

}  // namespace nmea

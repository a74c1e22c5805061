// The builders of the NMEA sentences, members of velarn::GPSFixEx. They live
// in the GPS relay library so that the unit link doesn't depend on it.
#include "nmea/GSASentence.h"
#include "nmea/GSVSentence.h"
#include "nmea/RMCSentence.h"
#include "velarn/pdu/GPSFix.h"

namespace velarn {

void GPSFixEx::Fill(nmea::RMCSentence& sentence) const {
  sentence.time = time;
  sentence.status = static_cast<char>(status);
  sentence.latitude = latitude;
  sentence.longitude = longitude;
  sentence.speed = speed;
  sentence.course = course;
  sentence.magneticVariation = magneticVariation;
  sentence.magneticVariationDirection = static_cast<char>(magneticVariationDirection);
}

void GPSFixEx::Fill(nmea::GSASentence& sentence) const {
  sentence.mode = static_cast<char>(fixMode);
  sentence.fixType = fixType;
  sentence.satelliteMask = satelliteMask;
  sentence.pdop = pdop;
  sentence.hdop = hdop;
  sentence.vdop = vdop;
}

void GPSFixEx::Fill(std::vector<nmea::GSVSentence>& sentences) const {
  sentences.clear();
  if (satelliteCount == 0 || satelliteCount > kMaxSatellites) {
    // Nothing in view (or a count that can't be right): one sentence that
    // says so, without satellites.
    nmea::GSVSentence sentence;
    sentence.sentenceCount = 1;
    sentence.sentenceNumber = 1;
    sentences.push_back(sentence);
    return;
  }
  const unsigned perSentence = nmea::GSVSentence::kSatellitesPerSentence;
  const unsigned count = (satelliteCount + perSentence - 1) / perSentence;
  for (unsigned i = 0; i < count; ++i) {
    nmea::GSVSentence sentence;
    sentence.sentenceCount = static_cast<uint8_t>(count);
    sentence.sentenceNumber = static_cast<uint8_t>(i + 1);
    sentence.satellitesInView = satelliteCount;
    for (unsigned j = 0; j < perSentence; ++j) {
      sentence.satellites[j] = satellites[perSentence * i + j];
    }
    sentences.push_back(sentence);
  }
}

}  // namespace velarn

#pragma once

#include <cstdint>
#include <vector>

namespace nmea {
class RMCSentence;
class GSASentence;
class GSVSentence;
}  // namespace nmea

namespace velarn {

// The unit's GPS fix (options 1 to 9 of PDU 7:1). Every field holds all ones
// (0x7FFFFFFF for the signed ones) until a value arrives, tripValue 0.
struct GPSFix {
  uint8_t status = 0xFF;           // an ASCII letter; 'A' and 'L' mean a usable position
  int32_t latitude = 0x7FFFFFFF;   // millionths of a degree
  int32_t longitude = 0x7FFFFFFF;  // millionths of a degree
  uint32_t time = 0xFFFFFFFF;      // seconds since 2000-01-01 00:00:00 UTC
  uint8_t satellites = 0xFF;       // satellites in use
  uint16_t speed = 0xFFFF;         // the wire's tenths divided by 10
  uint16_t course = 0xFFFF;        // the wire's tenths divided by 10
  uint16_t reserved = 0xFFFF;
  uint32_t tripValue = 0;
};

// One satellite in view.
struct SatelliteInfo {
  uint8_t number = 0xFF;
  uint8_t signal = 0xFF;  // signal-to-noise ratio
  int16_t elevation = 0x7FFF;
  uint16_t azimuth = 0xFFFF;
};

// The extended fix, the block of option 10 of PDU 7:1, source of the NMEA
// sentences of the GPS relay. status 0xFF means that no block came. Values are
// those of the wire except where noted; 16-bit speeds, courses and angles are
// in tenths.
struct GPSFixEx {
  static constexpr unsigned kMaxSatellites = 32;

  uint8_t status = 0xFF;
  uint8_t opaque1 = 0xFF;
  uint8_t opaque2 = 0xFF;
  uint8_t opaque3 = 0xFF;
  int32_t latitude = 0x7FFFFFFF;              // millionths of a degree (the wire's ten-millionths / 10)
  int32_t longitude = 0x7FFFFFFF;             // millionths of a degree
  uint32_t time = 0xFFFFFFFF;                 // seconds since 2000-01-01 00:00:00 UTC
  uint16_t speed = 0xFFFF;                    // tenths of km/h
  uint16_t course = 0xFFFF;                   // tenths of a degree
  uint16_t hdop = 0xFFFF;                     // the wire value / 10
  uint16_t magneticVariation = 0xFFFF;        // tenths of a degree
  uint8_t magneticVariationDirection = 0xFF;  // 'E' or 'W'
  uint8_t opaque4 = 0xFF;
  uint16_t opaque5 = 0xFFFF;
  int32_t opaque6 = 0x7FFFFFFF;
  int32_t opaque7 = 0x7FFFFFFF;
  uint64_t satelliteMask = ~static_cast<uint64_t>(0);  // bit n: satellite n+1 in use
  uint16_t pdop = 0xFFFF;                              // the wire value / 10
  uint16_t vdop = 0xFFFF;                              // the wire value / 10
  uint16_t opaque8 = 0xFFFF;
  uint8_t fixType = 0xFF;
  // The block gives it two bytes, of which only the first is read. The wire
  // leaves it without a value before decoding; all ones here, like its
  // neighbours, so that every copy of a fix is fully defined.
  uint16_t opaque9 = 0xFFFF;
  uint8_t fixMode = 0xFF;
  uint8_t satelliteCount = 0xFF;
  SatelliteInfo satellites[kMaxSatellites];

  // Builders of the NMEA sentences. They are defined by the GPS relay
  // (library vl_nmea), which a user of them links.
  void Fill(nmea::RMCSentence& sentence) const;
  void Fill(nmea::GSASentence& sentence) const;
  // Clears the vector, then adds the group of GSV sentences.
  void Fill(std::vector<nmea::GSVSentence>& sentences) const;
};

}  // namespace velarn

#include <gtest/gtest.h>

#include <vector>

#include "nmea/GGASentence.h"
#include "nmea/GSASentence.h"
#include "nmea/GSVSentence.h"
#include "nmea/RMCSentence.h"
#include "nmea/VTGSentence.h"
#include "velarn/pdu/GPSFix.h"

namespace {

using namespace nmea;

// 2009-07-04 05:20:00 UTC in seconds since 2000.
const uint32_t kJuly2009 = 300000000;

TEST(SentencesTest, RMCHalvesVariationAndDates) {
  RMCSentence rmc;
  EXPECT_EQ("$GPRMC,,,,,,,,,,,*67\r\n", ToString(rmc));
  EXPECT_EQ("RMC", rmc.GetType());

  rmc.time = kJuly2009;
  rmc.status = 'A';
  rmc.course = 2345;
  // Southern and western halves, and a variation only with its direction.
  rmc.latitude = -1500000;
  rmc.longitude = -123456789;
  rmc.speed = 0;
  rmc.magneticVariation = 31;
  EXPECT_EQ("GPRMC,052000,A,0130.0000,S,12327.4073,W,0.0,234.5,040709,,", rmc.GetBody());
  rmc.magneticVariationDirection = 'E';
  rmc.speed = 1;  // round(0.54) tenths of a knot
  EXPECT_EQ("GPRMC,052000,A,0130.0000,S,12327.4073,W,0.1,234.5,040709,3.1,E", rmc.GetBody());
  rmc.magneticVariation = 0xFFFF;
  EXPECT_EQ("GPRMC,052000,A,0130.0000,S,12327.4073,W,0.1,234.5,040709,,", rmc.GetBody());

  // Zero-filled time and date fields; a latitude of 0 is northern.
  rmc.time = 86400 + 3 * 3600 + 4 * 60 + 5;  // 2000-01-02 03:04:05
  rmc.latitude = 0;
  rmc.longitude = 999;
  rmc.speed = 65534;
  EXPECT_EQ("GPRMC,030405,A,0000.0000,N,00000.0599,E,3538.8,234.5,020100,,", rmc.GetBody());
  // On the device time_t has 32 bits: dates after 2038 must not jump back to 1901.
  rmc.time = UINT32_C(1267446896);  // 2040-02-29 12:34:56
  EXPECT_EQ("GPRMC,123456,A,0000.0000,N,00000.0599,E,3538.8,234.5,290240,,", rmc.GetBody());
}

TEST(SentencesTest, GSAListsAtMostTwelveSatellites) {
  GSASentence gsa;
  EXPECT_EQ("GPGSA,,,,,,,,,,,,,,,,,", gsa.GetBody());  // 17 empty fields

  gsa.mode = 'A';
  gsa.fixType = 3;
  gsa.satelliteMask = 0x8000000000000005u;  // satellites 1, 3 and 64
  gsa.pdop = 20;
  gsa.hdop = 12;
  gsa.vdop = 17;
  EXPECT_EQ("GPGSA,A,3,01,03,64,,,,,,,,,,2.0,1.2,1.7", gsa.GetBody());

  gsa.satelliteMask = 0x1FFF0;  // 13 satellites, 5 to 17
  EXPECT_EQ("GPGSA,A,3,05,06,07,08,09,10,11,12,13,14,15,16,2.0,1.2,1.7", gsa.GetBody());
  gsa.satelliteMask = 0;
  EXPECT_EQ("GPGSA,A,3,,,,,,,,,,,,,2.0,1.2,1.7", gsa.GetBody());
}

velarn::GPSFixEx FixWithSatellites(unsigned count) {
  velarn::GPSFixEx fixEx;
  fixEx.satelliteCount = static_cast<uint8_t>(count);
  for (unsigned i = 0; i < count && i < velarn::GPSFixEx::kMaxSatellites; ++i) {
    fixEx.satellites[i].number = static_cast<uint8_t>(i + 10);
    fixEx.satellites[i].signal = static_cast<uint8_t>(40 + i);
    fixEx.satellites[i].elevation = static_cast<int16_t>(5 * i);
    fixEx.satellites[i].azimuth = static_cast<uint16_t>(100 + i);
  }
  return fixEx;
}

std::vector<std::string> Bodies(const velarn::GPSFixEx& fixEx) {
  std::vector<GSVSentence> group(3);  // the builder clears what was there
  fixEx.Fill(group);
  std::vector<std::string> bodies;
  for (const GSVSentence& sentence : group) {
    bodies.push_back(sentence.GetBody());
  }
  return bodies;
}

TEST(SentencesTest, GSVGroupsFourSatellitesPerSentence) {
  velarn::GPSFixEx five = FixWithSatellites(5);

  // Empty values stay empty, a negative elevation keeps its sign, and a
  // satellite with number 0 is left out whole.
  five.satellites[0].elevation = 0x7FFF;
  five.satellites[1].number = 0;
  five.satellites[2].elevation = -3;
  five.satellites[2].signal = 0xFF;
  five.satellites[3].azimuth = 0xFFFF;
  EXPECT_EQ("GPGSV,2,1,5,10,,100,40,12,-3,102,,13,15,,43", Bodies(five)[0]);

  EXPECT_EQ(8u, Bodies(FixWithSatellites(32)).size());
  EXPECT_EQ("GPGSV,8,8,32,38,140,128,68,39,145,129,69,40,150,130,70,41,155,131,71",
            Bodies(FixWithSatellites(32))[7]);
  // Nothing in view, or a count that can't be: one sentence without satellites.
  EXPECT_EQ(std::vector<std::string>({"GPGSV,1,1,"}), Bodies(FixWithSatellites(0)));
  EXPECT_EQ(std::vector<std::string>({"GPGSV,1,1,"}), Bodies(FixWithSatellites(33)));
  EXPECT_EQ("GPGSV,,,", GSVSentence().GetBody());
}

TEST(SentencesTest, BuildersCopyTheExtendedFix) {
  velarn::GPSFixEx fixEx;
  fixEx.status = 'A';
  fixEx.time = kJuly2009;
  fixEx.latitude = 52370216;
  fixEx.longitude = 4895168;
  fixEx.speed = 1000;
  fixEx.course = 2345;
  fixEx.magneticVariation = 25;
  fixEx.magneticVariationDirection = 'W';

  RMCSentence rmc;
  fixEx.Fill(rmc);
  EXPECT_EQ("$GPRMC,052000,A,5222.2129,N,00453.7100,E,54.0,234.5,040709,2.5,W*54\r\n", ToString(rmc));

  // A block that never came renders as empty sentences.
  RMCSentence none;
  velarn::GPSFixEx().Fill(none);
  EXPECT_EQ("$GPRMC,,,,,,,,,,,*67\r\n", ToString(none));
}

TEST(SentencesTest, GGAAndVTGRenderLikeTheOthers) {
  GGASentence gga;
  EXPECT_EQ("GPGGA,,,,,,,,,,M,,M,,", gga.GetBody());
  gga.time = kJuly2009;
  gga.latitude = 52370216;
  gga.longitude = -4895168;
  gga.quality = 1;
  gga.satellitesUsed = 7;
  gga.hdop = 9;
  gga.altitude = -125;
  gga.geoidHeight = 473;
  EXPECT_EQ("GPGGA,052000,5222.2129,N,00453.7100,W,1,07,0.9,-12.5,M,47.3,M,,", gga.GetBody());
  gga.altitude = -5;
  EXPECT_EQ("GPGGA,052000,5222.2129,N,00453.7100,W,1,07,0.9,-0.5,M,47.3,M,,", gga.GetBody());
  gga.altitude = 0;  // sea level has no sign
  EXPECT_EQ("GPGGA,052000,5222.2129,N,00453.7100,W,1,07,0.9,0.0,M,47.3,M,,", gga.GetBody());
  EXPECT_EQ("GGA", gga.GetType());

  VTGSentence vtg;
  EXPECT_EQ("GPVTG,,T,,M,,N,,K", vtg.GetBody());
  vtg.course = 2345;
  vtg.magneticCourse = 2300;
  vtg.speed = 1000;
  EXPECT_EQ("GPVTG,234.5,T,230.0,M,54.0,N,100.0,K", vtg.GetBody());
  EXPECT_EQ("VTG", vtg.GetType());
}

}  // namespace

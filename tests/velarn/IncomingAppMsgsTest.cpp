#include "velarn/pdu/IncomingAppMsgs.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "common/Exceptions.h"
#include "velarn/PDUBytes.h"
#include "velarn/pdu/AppMsgRegistry.h"
#include "velarn/pdu/PDUWriter.h"

namespace {

using namespace velarn;
using velarntest::Ints;

std::unique_ptr<AIncomingAppMsg> Decode(const PDUWriter& writer) {
  common::Buffer buffer(0, 200);
  writer.Write(buffer);
  return std::unique_ptr<AIncomingAppMsg>(AppMsgRegistry::Instance().Decode(buffer));
}

template <class T>
std::unique_ptr<T> DecodeAs(const PDUWriter& writer) {
  std::unique_ptr<AIncomingAppMsg> message = Decode(writer);
  std::unique_ptr<T> typed(dynamic_cast<T*>(message.get()));
  EXPECT_TRUE(typed) << "decoded id " << message->GetId();
  if (typed) message.release();
  return typed;
}

// The text of the ParseException that decoding throws, or "" if it decodes.
std::string Refusal(const PDUWriter& writer) {
  return velarntest::Thrown<ParseException>([&] { Decode(writer); });
}

const char* const kWrongSize = "size of parameter doesn't match to the size of the expected type";

TEST(IncomingAppMsgsTest, LogbookData) {
  const LogbookData defaults = DecodeAs<AppMsg_1_2>(PDUWriter(0x0102).Byte(1, 3))->GetLogbook();
  EXPECT_EQ(3u, defaults.mode);
  EXPECT_FALSE(defaults.tripValid);
  EXPECT_EQ(0u, defaults.odometer + defaults.tripOdometer + defaults.tripStarted + defaults.tripDuration +
                    defaults.tripDistance + defaults.reserved1 + defaults.reserved2 + defaults.reserved3);

  const LogbookData logbook = DecodeAs<AppMsg_1_2>(PDUWriter(0x0102)
                                                       .Byte(1, 2)
                                                       .Byte(2, 0)
                                                       .U32(3, 123456789)
                                                       .U32(4, 4)
                                                       .U32(5, 5)
                                                       .U32(6, 6)
                                                       .U32(7, 7)
                                                       .U16(8, 0xBEEF)
                                                       .U32(9, 9)
                                                       .U32(10, 0xFFFFFFF0)
                                                       .Bytes(11, "ignored", 7))
                                  ->GetLogbook();
  EXPECT_EQ(
      Ints(2, 123456789, 4, 5, 6, 7, 0xBEEF, 9, 0xFFFFFFF0),
      Ints(logbook.mode, logbook.odometer, logbook.tripOdometer, logbook.tripStarted, logbook.tripDuration,
           logbook.tripDistance, logbook.reserved1, logbook.reserved2, logbook.reserved3));
  EXPECT_TRUE(logbook.tripValid);  // 0 on the wire means valid
  EXPECT_FALSE(DecodeAs<AppMsg_1_2>(PDUWriter(0x0102).Byte(1, 0).Byte(2, 2))->GetLogbook().tripValid);

  // The required option is the mode, though the text speaks of option 2.
  EXPECT_EQ("missing option 2 in pdu 1:2", Refusal(PDUWriter(0x0102).Byte(2, 0).U32(3, 1)));
  EXPECT_EQ(kWrongSize, Refusal(PDUWriter(0x0102).Byte(1, 0).U32(8, 1)));
  EXPECT_EQ(kWrongSize, Refusal(PDUWriter(0x0102).U16(1, 1)));
}

TEST(IncomingAppMsgsTest, StatusTableServerMessageAndRegistration) {
  auto size = DecodeAs<AppMsg_4_3>(PDUWriter(0x0403).Byte(1, 0));
  EXPECT_EQ(0, size->GetRowCount());
  EXPECT_TRUE(size->GetFlag());  // true until option 2 says otherwise
  EXPECT_FALSE(DecodeAs<AppMsg_4_3>(PDUWriter(0x0403).Byte(1, 5).Byte(2, 2))->GetFlag());
  EXPECT_EQ("missing option 1 in pdu 4:3", Refusal(PDUWriter(0x0403).Byte(2, 1)));
  // 0xFF is the marker of a missing count, so it can't be a count.
  EXPECT_EQ("missing option 1 in pdu 4:3", Refusal(PDUWriter(0x0403).Byte(1, 0xFF)));

  auto row = DecodeAs<AppMsg_4_5>(PDUWriter(0x0405).Byte(1, 3).U16(2, 0x1234).Text(3, "Pause"));
  EXPECT_EQ(3, row->GetIndex());
  EXPECT_EQ(0x1234, row->GetKey());
  EXPECT_EQ("Pause", row->GetText());
  EXPECT_EQ("missing option 1 or 2 in pdu 4:5", Refusal(PDUWriter(0x0405).U16(2, 1).Text(3, "x")));
  EXPECT_EQ("missing option 1 or 2 in pdu 4:5", Refusal(PDUWriter(0x0405).Byte(1, 1).U16(2, 0xFFFF)));
  EXPECT_EQ(kWrongSize, Refusal(PDUWriter(0x0405).Byte(1, 1).Byte(2, 1)));
  EXPECT_EQ(0x0406, DecodeAs<AppMsg_4_6>(PDUWriter(0x0406).U32(1, 1))->GetId());

  auto message = DecodeAs<AppMsg_4_8>(PDUWriter(0x0408).Text(1, "first").Text(1, "second"));
  EXPECT_EQ("second", velarntest::Text(message->GetMessage()));  // the later option wins
  EXPECT_FALSE(message->IsValid());
  EXPECT_TRUE(DecodeAs<AppMsg_4_8>(PDUWriter(0x0408).Text(1, "").Byte(3, 1))->IsValid());
  EXPECT_FALSE(DecodeAs<AppMsg_4_8>(PDUWriter(0x0408).Text(1, "").Byte(3, 2))->IsValid());
  EXPECT_EQ("missing option 1 in pdu 4:8", Refusal(PDUWriter(0x0408).Byte(3, 1).Text(2, "x")));
  EXPECT_EQ(kWrongSize, Refusal(PDUWriter(0x0408).Text(1, "m").U16(3, 1)));

  EXPECT_EQ(unsigned('4'), DecodeAs<AppMsg_4_A>(PDUWriter(0x040A))->GetStatus());
  EXPECT_EQ(unsigned('4'), DecodeAs<AppMsg_4_A>(PDUWriter(0x040A).Byte(1, '5'))->GetExtra());
  EXPECT_EQ(unsigned('0'), DecodeAs<AppMsg_4_A>(PDUWriter(0x040A).Byte(2, '0'))->GetExtra());
  EXPECT_EQ(kWrongSize, Refusal(PDUWriter(0x040A).Text(1, "15")));
}

TEST(IncomingAppMsgsTest, Parameters) {
  auto known = DecodeAs<AppMsg_8_2>(PDUWriter(0x0802).Text(1, "GPF").Text(2, "1"));
  EXPECT_EQ("GPF", known->GetName());
  EXPECT_TRUE(known->IsFound());
  EXPECT_EQ("1", velarntest::Text(known->GetValue()));
  // An empty value is still a value.
  auto empty = DecodeAs<AppMsg_8_2>(PDUWriter(0x0802).Text(1, "ZUK").Text(2, ""));
  EXPECT_TRUE(empty->IsFound());
  EXPECT_EQ(0u, empty->GetValue().GetSize());
  EXPECT_FALSE(DecodeAs<AppMsg_8_2>(PDUWriter(0x0802).Text(1, "XYZ"))->IsFound());
  EXPECT_EQ("missing option 1 in pdu 8:2", Refusal(PDUWriter(0x0802).Text(2, "v")));

  EXPECT_EQ("REL", DecodeAs<AppMsg_8_4>(PDUWriter(0x0804).Text(1, "REL"))->GetName());
  EXPECT_EQ("", DecodeAs<AppMsg_8_6>(PDUWriter(0x0806).Text(1, ""))->GetName());
  // Neither knows an option 2, whatever their texts say.
  EXPECT_EQ("missing option 1 or 2 in pdu 8:4", Refusal(PDUWriter(0x0804).Text(2, "REL")));
  EXPECT_EQ("missing option 1 or 2 in pdu 8:6", Refusal(PDUWriter(0x0806).Text(2, "GPF")));
}

// A block of option 10 of 7:1, laid out by hand: byte i holds 0x80 + i unless
// set otherwise, so that a field read from the wrong place shows.
std::vector<unsigned char> FixExBlock(unsigned count, unsigned entries) {
  std::vector<unsigned char> block(0x38 + 6 * entries);
  for (size_t i = 0; i < block.size(); ++i) {
    block[i] = static_cast<unsigned char>(0x80 + i);
  }
  const unsigned char latitude[] = {0x6B, 0xA0, 0xD3, 0xE0};  // -523001749 ten-millionths
  std::copy(latitude, latitude + 4, block.begin() + 4);
  block[0x14] = 15;  // hdop 15 -> 1
  block[0x15] = 0;
  block[0x37] = static_cast<unsigned char>(count);
  if (entries > 1) {
    const unsigned char second[] = {12, 40, 0xFB, 0xFF, 0x67, 0x01};  // elevation -5, azimuth 359
    std::copy(second, second + 6, block.begin() + 0x38 + 6);
  }
  return block;
}

PDUWriter& Block(PDUWriter& writer, const std::vector<unsigned char>& block) {
  return writer.Bytes(10, block.data(), static_cast<unsigned>(block.size()));
}

TEST(IncomingAppMsgsTest, GPSFixAndItsExtendedBlock) {
  auto none = DecodeAs<AppMsg_7_1>(PDUWriter(0x0701));
  EXPECT_EQ(0xFF, none->GetFix().status);
  EXPECT_EQ(0x7FFFFFFF, none->GetFix().latitude);
  EXPECT_EQ(0xFFFF, none->GetFix().speed);
  EXPECT_EQ(0u, none->GetFix().tripValue);
  EXPECT_EQ(0xFF, none->GetFixEx().status);
  EXPECT_EQ(0x7FFF, none->GetFixEx().satellites[31].elevation);

  PDUWriter writer(0x0701);
  writer.Byte(1, 'A').U32(2, static_cast<uint32_t>(-52370216)).U16(6, 125).U16(7, 3599).U32(9, 77);
  auto fix = DecodeAs<AppMsg_7_1>(Block(writer, FixExBlock(2, 2)));
  const GPSFix& f = fix->GetFix();  // speed: 125 tenths, integer division
  EXPECT_EQ(std::vector<int64_t>({'A', -52370216, 12, 359, 77}),
            std::vector<int64_t>({f.status, f.latitude, f.speed, f.course, f.tripValue}));

  // Every field from its own place, in its own width and unit: divided by 10
  // towards zero where the wire counts tenths, 0x33 and 0x35 not read.
  const GPSFixEx& x = fix->GetFixEx();
  EXPECT_EQ(Ints(0x80, 0x83, -52300174, static_cast<int32_t>(0x8B8A8988) / 10, 0x8F8E8D8C, 0x9190, 0x9392, 1,
                 0x9796, 0x98, 0x9B9A, static_cast<int32_t>(0xA3A2A1A0), 0xABAAA9A8A7A6A5A4u, 0xADAC / 10,
                 0xAFAE / 10, 0xB1B0, 0xB2, 0xB4, 0xB6, 2, 0xB8, 0xB9, static_cast<int16_t>(0xBBBA), 0xBDBC,
                 -5, 359),
            Ints(x.status, x.opaque3, x.latitude, x.longitude, x.time, x.speed, x.course, x.hdop,
                 x.magneticVariation, x.magneticVariationDirection, x.opaque5, x.opaque7, x.satelliteMask,
                 x.pdop, x.vdop, x.opaque8, x.fixType, x.opaque9, x.fixMode, x.satelliteCount,
                 x.satellites[0].number, x.satellites[0].signal, x.satellites[0].elevation,
                 x.satellites[0].azimuth, x.satellites[1].elevation, x.satellites[1].azimuth));
  EXPECT_EQ(0xFF, x.satellites[2].number);  // past the count

  EXPECT_EQ(kWrongSize, Refusal(PDUWriter(0x0701).Byte(6, 125)));
  EXPECT_EQ(kWrongSize, Refusal(PDUWriter(0x0701).U16(2, 1)));
}

TEST(IncomingAppMsgsTest, MalformedExtendedBlockIsSkippedWithoutError) {
  std::vector<unsigned char> cut = FixExBlock(0, 0);
  cut.pop_back();  // 0x37 bytes
  // Too short, one entry short, more satellites than there is room for, empty.
  for (const auto& block : {cut, FixExBlock(2, 1), FixExBlock(33, 33), std::vector<unsigned char>()}) {
    PDUWriter writer(0x0701);
    auto fix = DecodeAs<AppMsg_7_1>(Block(writer.Byte(1, 'L'), block));
    EXPECT_EQ('L', fix->GetFix().status);
    EXPECT_EQ(0xFF, fix->GetFixEx().status) << block.size();
    EXPECT_EQ(0x7FFFFFFF, fix->GetFixEx().latitude);
    EXPECT_EQ(0xFF, fix->GetFixEx().satelliteCount);
    EXPECT_EQ(0xFF, fix->GetFixEx().satellites[0].number);
  }
  // Extra bytes after the entries are fine; a bad block after a good one
  // keeps the good one.
  PDUWriter writer(0x0701);
  auto kept = DecodeAs<AppMsg_7_1>(Block(Block(writer, FixExBlock(1, 2)), FixExBlock(3, 0)));
  EXPECT_EQ(1, kept->GetFixEx().satelliteCount);
  EXPECT_EQ(0xFF, kept->GetFixEx().satellites[1].number);
}

}  // namespace

#include "velarn/pdu/PDU.h"

#include <gtest/gtest.h>

#include <sstream>
#include <vector>

#include "common/Exceptions.h"
#include "velarn/PDUBytes.h"

namespace {

using velarn::PDU;
using velarntest::Bytes;
using velarntest::Content;

void ExpectInvalid(const common::Buffer& buffer) {
  PDU pdu(0x0506);
  EXPECT_EQ("invalid pdu", velarntest::Thrown<ParseException>([&] { pdu.Parse(buffer); })) << buffer;
  // A refused buffer leaves the PDU as it was.
  EXPECT_EQ(0x0506, pdu.id);
  EXPECT_TRUE(pdu.parameters.empty());
}

TEST(PDUTest, ParseWalksOptionsAndPointsIntoTheBuffer) {
  // The request for rows 0 to 9 of the status table.
  const common::Buffer buffer = Bytes({0x04, 0x04, 0x01, 0x01, 0x00, 0x00, 0x02, 0x01, 0x00, 0x09});
  PDU pdu(0);
  pdu.Parse(buffer);
  EXPECT_EQ(0x0404, pdu.id);
  ASSERT_EQ(2u, pdu.parameters.size());
  EXPECT_EQ(1, pdu.parameters[0].id);
  EXPECT_EQ(1u, pdu.parameters[0].size);
  EXPECT_EQ(buffer.GetData() + 5, pdu.parameters[0].data);
  EXPECT_EQ(2, pdu.parameters[1].id);
  EXPECT_EQ(9, pdu.parameters[1].data[0]);

  // Exactly two bytes: a PDU without options; a new parse replaces the old.
  pdu.Parse(Bytes({0x04, 0x0B}));
  EXPECT_EQ(0x040B, pdu.id);
  EXPECT_TRUE(pdu.parameters.empty());

  // Empty options, also as the last one, and repeated numbers stay in order.
  // (The values live in the buffer, which must outlive the PDU.)
  const common::Buffer repeated =
      Bytes({0x08, 0x02, 0x02, 0x00, 0x00, 0x01, 0x01, 0x00, 0x41, 0x02, 0x00, 0x00});
  pdu.Parse(repeated);
  ASSERT_EQ(3u, pdu.parameters.size());
  EXPECT_EQ(0u, pdu.parameters[0].size);
  EXPECT_EQ(1, pdu.parameters[1].id);
  EXPECT_EQ('A', pdu.parameters[1].data[0]);
  EXPECT_EQ(2, pdu.parameters[2].id);
  EXPECT_EQ(0u, pdu.parameters[2].size);
}

TEST(PDUTest, ParseRefusesWhatDoesNotTileTheBuffer) {
  ExpectInvalid(Bytes({}));
  ExpectInvalid(Bytes({0x04}));
  // An option header cut after one or two bytes.
  ExpectInvalid(Bytes({0x04, 0x04, 0x01}));
  ExpectInvalid(Bytes({0x04, 0x04, 0x01, 0x01}));
  ExpectInvalid(Bytes({0x04, 0x04, 0x01, 0x01, 0x00, 0x00, 0x02}));
  // The last option claims one byte more than there is.
  ExpectInvalid(Bytes({0x04, 0x04, 0x01, 0x02, 0x00, 0x00}));
  // A length whose high byte counts (0x0100, not 0x0001).
  ExpectInvalid(Bytes({0x04, 0x04, 0x01, 0x00, 0x01, 0x00}));
}

TEST(PDUTest, SerializeWritesIdentifierBigEndianAndLengthsLittleEndian) {
  const std::vector<unsigned char> value(0x0102, 0xAB);
  PDU pdu(0x0102);
  pdu.parameters.push_back({7, static_cast<uint32_t>(value.size()), value.data()});
  const unsigned char empty = 0;
  pdu.parameters.push_back({255, 0, &empty});
  common::Buffer buffer(4, 200);
  buffer.Append(0x99);  // Serialize appends
  pdu.Serialize(buffer);
  ASSERT_EQ(1u + 2 + 3 + 0x0102 + 3, buffer.GetSize());
  EXPECT_EQ(std::vector<int>({0x99, 0x01, 0x02, 0x07, 0x02, 0x01, 0xAB}),
            std::vector<int>(buffer.GetData(), buffer.GetData() + 7));
  EXPECT_EQ(std::vector<int>({0xAB, 0xFF, 0x00, 0x00}),
            std::vector<int>(buffer.GetData() + buffer.GetSize() - 4, buffer.GetData() + buffer.GetSize()));

  // And a length past one byte parses back.
  common::Buffer wire(0, 200);
  wire.Append(buffer.GetData() + 1, buffer.GetSize() - 1);
  pdu.Parse(wire);
  EXPECT_EQ(0x0102u, pdu.parameters.at(0).size);
}

TEST(PDUTest, SerializeRefusesAValueWithoutAWireLength) {
  const std::vector<unsigned char> value(0x10000, 1);
  PDU pdu(0x0407);
  pdu.parameters.push_back({1, 0xFFFF, value.data()});
  pdu.parameters.push_back({3, 0x10000, value.data()});
  common::Buffer buffer(0, 200);
  EXPECT_THROW(pdu.Serialize(buffer), SerializeException);
  EXPECT_EQ(0u, buffer.GetSize());
  pdu.parameters.pop_back();
  pdu.Serialize(buffer);
  EXPECT_EQ(2u + 3 + 0xFFFF, buffer.GetSize());
}

TEST(PDUTest, DumpShowsIdInDecimalAndValuesInHex) {
  const common::Buffer buffer = Bytes({0x04, 0x04, 0x01, 0x01, 0x00, 0x00, 0x0C, 0x02, 0x00, 0x0a, 0xff});
  PDU pdu(0);
  pdu.Parse(buffer);
  std::ostringstream out;
  out << std::hex << pdu << ' ' << 255;
  EXPECT_EQ("Id: 1028\n- Parameter 1: 00\n- Parameter 12: 0a:ff ff", out.str());

  std::ostringstream bare;
  bare << PDU(0x040B);
  EXPECT_EQ("Id: 1035\n  <no parameters>", bare.str());
}

}  // namespace

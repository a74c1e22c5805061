#include "velarn/pdu/OutgoingAppMsgs.h"

#include <gtest/gtest.h>

#include "velarn/PDUBytes.h"
#include "velarn/pdu/AppMsgRegistry.h"

namespace {

using namespace velarn;
using velarntest::Bytes;

std::vector<int> Encoded(const AOutgoingAppMsg& message) {
  common::Buffer buffer(0, 200);
  AppMsgRegistry::Instance().Encode(message, buffer);
  return velarntest::Content(buffer);
}

TEST(OutgoingAppMsgsTest, EveryClassWritesItsOptionsInOrder) {
  EXPECT_EQ(std::vector<int>({0x01, 0x01}), Encoded(AppMsg_1_1()));
  EXPECT_EQ(std::vector<int>({0x01, 0x03, 0x01, 0x01, 0x00, 0x05}), Encoded(AppMsg_1_3(5)));
  EXPECT_EQ(std::vector<int>({0x04, 0x02}), Encoded(AppMsg_4_2()));
  // A table of one row: first and last index are both 0.
  EXPECT_EQ(std::vector<int>({0x04, 0x04, 0x01, 0x01, 0x00, 0x00, 0x02, 0x01, 0x00, 0x00}),
            Encoded(AppMsg_4_4(0, 0)));
  EXPECT_EQ(std::vector<int>({0x04, 0x0B}), Encoded(AppMsg_4_B()));
  EXPECT_EQ(std::vector<int>({0x07, 0x02, 0x01, 0x01, 0x00, 0x01}), Encoded(AppMsg_7_2(1)));
  EXPECT_EQ(std::vector<int>({0x08, 0x01, 0x01, 0x03, 0x00, 'G', 'P', 'F'}), Encoded(AppMsg_8_1("GPF")));
  EXPECT_EQ(std::vector<int>({0x08, 0x05, 0x01, 0x03, 0x00, 'R', 'E', 'L'}), Encoded(AppMsg_8_5("REL")));
}

TEST(OutgoingAppMsgsTest, OptionalOptionsAreLeftOut) {
  const common::Buffer message = Bytes({0xA1, 0xB2});
  // An empty recipient leaves one option only.
  EXPECT_EQ(std::vector<int>({0x04, 0x07, 0x01, 0x02, 0x00, 0xA1, 0xB2}), Encoded(AppMsg_4_7(message, "")));
  EXPECT_EQ(std::vector<int>({0x04, 0x07, 0x01, 0x02, 0x00, 0xA1, 0xB2, 0x03, 0x02, 0x00, 'H', 'Q'}),
            Encoded(AppMsg_4_7(message, "HQ")));
  EXPECT_EQ(std::vector<int>({0x04, 0x07, 0x01, 0x00, 0x00}), Encoded(AppMsg_4_7(Bytes({}), "")));

  // An unknown parameter has one option only; an empty value still has two.
  EXPECT_EQ(std::vector<int>({0x08, 0x03, 0x01, 0x03, 0x00, 'C', 'M', 'D'}), Encoded(AppMsg_8_3("CMD")));
  EXPECT_EQ(std::vector<int>({0x08, 0x03, 0x01, 0x03, 0x00, 'C', 'M', 'D', 0x02, 0x00, 0x00}),
            Encoded(AppMsg_8_3("CMD", Bytes({}))));
  EXPECT_EQ(std::vector<int>({0x08, 0x03, 0x01, 0x01, 0x00, 'N', 0x02, 0x01, 0x00, '7'}),
            Encoded(AppMsg_8_3("N", Bytes({'7'}))));
}

TEST(OutgoingAppMsgsTest, MessagesOwnTheirValues) {
  common::Buffer message = Bytes({1, 2, 3});
  const AppMsg_4_7 forward(message, "R");
  message.Clear();
  message.Append(9);
  EXPECT_EQ(std::vector<int>({0x04, 0x07, 0x01, 0x03, 0x00, 1, 2, 3, 0x03, 0x01, 0x00, 'R'}),
            Encoded(forward));
  EXPECT_EQ(1024u, forward.GetMessage().GetCapacity());

  // Encoding into a PDU that held options replaces them.
  PDU pdu(0x0999);
  const unsigned char stale = 1;
  pdu.parameters.push_back({9, 1, &stale});
  AppMsg_7_2(1).Encode(pdu);
  EXPECT_EQ(0x0702, pdu.id);
  ASSERT_EQ(1u, pdu.parameters.size());
  EXPECT_EQ(1, pdu.parameters[0].id);
  AppMsg_4_2().Encode(pdu);
  EXPECT_TRUE(pdu.parameters.empty());
}

}  // namespace

#include "velarn/pdu/OutgoingAppMsgs.h"

#include <gtest/gtest.h>

#include <memory>

#include "velarn/PDUBytes.h"
#include "velarn/pdu/AppMsgRegistry.h"

namespace {

using namespace velarn;
using velarntest::Bytes;

// The bytes of every class are pinned by ApplicationLayerTest, which sends
// each; here what it can't reach: empty values, copies, a reused buffer.
TEST(OutgoingAppMsgsTest, EmptyValuesCopiesAndReusedBuffers) {
  common::Buffer message = Bytes({0xA1, 0xB2});
  const struct {
    std::shared_ptr<AOutgoingAppMsg> message;
    std::vector<int> bytes;
  } cases[] = {
      {std::make_shared<AppMsg_4_7>(message, "HQ"),
       {0x04, 0x07, 0x01, 0x02, 0x00, 0xA1, 0xB2, 0x03, 0x02, 0x00, 'H', 'Q'}},
      {std::make_shared<AppMsg_4_7>(Bytes({}), ""), {0x04, 0x07, 0x01, 0x00, 0x00}},
      {std::make_shared<AppMsg_8_3>("CMD", Bytes({})),
       {0x08, 0x03, 0x01, 0x03, 0x00, 'C', 'M', 'D', 0x02, 0, 0}},
  };
  message.Clear();  // the messages hold copies
  message.Append(9);
  common::Buffer buffer(4, 200);
  for (int i = 0; i < 20; ++i) {
    buffer.Append(0xEE);  // encoding replaces what the buffer held
  }
  for (const auto& c : cases) {
    AppMsgRegistry::Instance().Encode(*c.message, buffer);
    EXPECT_EQ(c.bytes, velarntest::Content(buffer)) << c.message->GetId();
  }

  // Encoding into a PDU that held options replaces them too.
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

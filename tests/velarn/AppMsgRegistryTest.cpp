#include "velarn/pdu/AppMsgRegistry.h"

#include <gtest/gtest.h>

#include <memory>

#include "common/Exceptions.h"
#include "velarn/PDUBytes.h"
#include "velarn/pdu/IncomingAppMsgs.h"
#include "velarn/pdu/OutgoingAppMsgs.h"

namespace {

using namespace velarn;
using velarntest::Bytes;

std::string DecodeRefusal(const common::Buffer& buffer) {
  return velarntest::Thrown<ParseException>([&] { delete AppMsgRegistry::Instance().Decode(buffer); });
}

TEST(AppMsgRegistryTest, DecodeRefusesMalformedBeforeUnknown) {
  // Well-formed, but nobody decodes 3:1 or the outgoing 1:1 here.
  EXPECT_EQ("can't find a factory", DecodeRefusal(Bytes({0x03, 0x01, 0x01, 0x01, 0x00, 0x07})));
  EXPECT_EQ("can't find a factory", DecodeRefusal(Bytes({0x01, 0x01})));
  // Malformed wins over unknown, and over known.
  EXPECT_EQ("invalid pdu", DecodeRefusal(Bytes({0x03, 0x01, 0x01, 0x02, 0x00, 0x07})));
  EXPECT_EQ("invalid pdu", DecodeRefusal(Bytes({0x04, 0x06, 0x01})));
  EXPECT_EQ("invalid pdu", DecodeRefusal(Bytes({0x04})));
  // A message refused by its own decoder doesn't come back (nor leak).
  EXPECT_EQ("missing option 1 in pdu 4:8", DecodeRefusal(Bytes({0x04, 0x08})));
}

class CountingFactory : public AIncomingAppMsgFactory {
 public:
  AIncomingAppMsg* Create() const override {
    ++created;
    return new AppMsg_4_6();
  }
  unsigned short GetId() const override { return AppMsg_4_6::kId; }
  mutable int created = 0;
};

TEST(AppMsgRegistryTest, ALaterFactoryReplacesTheEarlierOne) {
  static CountingFactory counting;
  AppMsgRegistry::Instance().Register(counting);
  std::unique_ptr<AIncomingAppMsg> first(AppMsgRegistry::Instance().Decode(Bytes({0x04, 0x06})));
  EXPECT_EQ(1, counting.created);
  EXPECT_EQ(0x0406, first->GetId());

  // A factory object registers itself as it is made.
  static IncomingAppMsgFactory<AppMsg_4_6> restored;
  std::unique_ptr<AIncomingAppMsg> second(AppMsgRegistry::Instance().Decode(Bytes({0x04, 0x06})));
  EXPECT_EQ(1, counting.created);
  EXPECT_NE(nullptr, dynamic_cast<AppMsg_4_6*>(second.get()));
}

}  // namespace

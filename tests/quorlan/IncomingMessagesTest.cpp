#include "quorlan/IncomingMessages.h"

#include <gtest/gtest.h>

#include <string>

#include "common/Exceptions.h"
#include "quorlan/IIncomingMessageHandler.h"
#include "quorlan/IncomingMessageFactory.h"
#include "quorlan/MessageCodec.h"
#include "quorlan/ServerValues.h"
#include "quorlan/TestHelpers.h"

namespace {

using common::Buffer;
using quorlan::AIncomingMessage;
using quorlan::MessageCodec;
using namespace quorlantest;

template <class T>
boost::shared_ptr<T> ParseAs(const Buffer& bytes) {
  const boost::shared_ptr<AIncomingMessage> message = MessageCodec::Parse(bytes);
  const boost::shared_ptr<T> typed = boost::dynamic_pointer_cast<T>(message);
  EXPECT_NE(nullptr, typed) << "parsed as id " << message->GetId();
  return typed;
}

std::string ParseFailure(const Buffer& bytes) {
  return Thrown<ParseException>([&] { MessageCodec::Parse(bytes); });
}

// Records which overload a message dispatched itself to.
class RecordingHandler : public quorlan::IIncomingMessageHandler {
 public:
  void Handle(const quorlan::NewOrderInMsg& m) override {
    seen += "new order " + std::to_string(m.orderId.value);
  }
  void Handle(const quorlan::UpdateOrderInMsg& m) override {
    seen += "update " + std::to_string(m.orderId.value);
  }
  void Handle(const quorlan::CancelOrderInMsg& m) override {
    seen += "cancel " + std::to_string(m.orderId.value);
  }
  void Handle(const quorlan::NewTextMessageInMsg& m) override { seen += "text " + m.text.value; }
  void Handle(const quorlan::ConfigurationInMsg&) override { seen += "configuration"; }
  void Handle(const quorlan::ResetInMsg&) override { seen += "reset"; }
  std::string seen;
};

std::string DispatchedTo(const Buffer& bytes) {
  RecordingHandler handler;
  MessageCodec::Parse(bytes)->Dispatch(handler);
  return handler.seen;
}

// The required keys of a new order, with the values of the smallest example.
Buffer NewOrder(Entries extra = {}, uint8_t without = 0) {
  quorlan::Message message(0x0401);
  const Entries required = {{1, Int(1001)}, {2, Str("A1")}, {3, Int(1)},
                            {4, Str("Go")}, {5, Int(1)},    {7, Bool(false)}};
  for (const auto& entry : required) {
    if (entry.first != without) {
      message.SetNode(entry.first, entry.second);
    }
  }
  for (const auto& entry : extra) {
    message.SetNode(entry.first, entry.second);
  }
  Buffer buffer(64, 200);
  message.Serialize(buffer);
  return buffer;
}

TEST(IncomingMessagesTest, SmallestNewOrderIsTwentyFourBytes) {
  const Buffer bytes = Bytes({0x04, 0x01, 0x01, 0xC4, 0x03, 0xE9, 0x02, 0x40, 0x02, 0x41, 0x31, 0x03,
                              0xC2, 0x01, 0x04, 0x40, 0x02, 0x47, 0x6F, 0x05, 0xC2, 0x01, 0x07, 0xC0});
  EXPECT_EQ(24u, bytes.GetSize());
  EXPECT_EQ(Hex(bytes), Hex(NewOrder()));

  const auto order = ParseAs<quorlan::NewOrderInMsg>(bytes);
  ASSERT_NE(nullptr, order);
  EXPECT_EQ(0x0401, order->GetId());
  EXPECT_EQ(1001u, order->orderId.value);
  EXPECT_EQ("A1", order->number.value);
  EXPECT_EQ(1, order->orderType.value);
  EXPECT_EQ("Go", order->text.value);
  EXPECT_EQ(1u, order->allowedActiveStates.value);
  EXPECT_FALSE(order->acceptanceRequired.value);
  for (const quorlan::FieldState state :
       {order->orderId.state, order->number.state, order->orderType.state, order->text.state,
        order->allowedActiveStates.state, order->acceptanceRequired.state}) {
    EXPECT_EQ(quorlan::Set, state);
  }
  EXPECT_EQ(quorlan::Absent, order->destination.state);
  EXPECT_EQ(quorlan::Absent, order->plannedArrival.state);
  EXPECT_EQ(quorlan::Absent, order->telephoneNumbers.state);
  EXPECT_EQ("new order 1001", DispatchedTo(bytes));
}

TEST(IncomingMessagesTest, FullNewOrderReadsGroupsAndLists) {
  const auto order = ParseAs<quorlan::NewOrderInMsg>(
      NewOrder({{3, Int(300)},
                {6, Struct({{1, Int(48137000)}, {2, Int(-11575000)}, {3, Str("Marienplatz")}})},
                {7, Bool(true)},
                {8, Int(790000000)},
                {9, List({Struct({{1, Str("office")}, {2, Str("+49 89 1")}}), Struct({{2, Str("112")}})})}}));
  ASSERT_NE(nullptr, order);
  EXPECT_EQ(44, order->orderType.value);  // 300 cut to 8 bits
  EXPECT_TRUE(order->acceptanceRequired.value);
  ASSERT_EQ(quorlan::Set, order->destination.state);
  EXPECT_EQ(48137000, order->destination.value.latitude.value);
  EXPECT_EQ(-11575000, order->destination.value.longitude.value);
  EXPECT_EQ("Marienplatz", order->destination.value.description.value);
  EXPECT_EQ(790000000u, order->plannedArrival.value);
  ASSERT_EQ(quorlan::Set, order->telephoneNumbers.state);
  ASSERT_EQ(2u, order->telephoneNumbers.value.size());
  EXPECT_EQ("office", order->telephoneNumbers.value[0].name.value);
  EXPECT_EQ("+49 89 1", order->telephoneNumbers.value[0].number.value);
  EXPECT_EQ(quorlan::Absent, order->telephoneNumbers.value[1].name.state);
  EXPECT_EQ("112", order->telephoneNumbers.value[1].number.value);

  const auto noContacts = ParseAs<quorlan::NewOrderInMsg>(NewOrder({{9, List({})}}));
  EXPECT_EQ(quorlan::Set, noContacts->telephoneNumbers.state);
  EXPECT_TRUE(noContacts->telephoneNumbers.value.empty());
}

TEST(IncomingMessagesTest, NewOrderRulesFailWithTheirTexts) {
  for (const uint8_t key : {1, 2, 3, 4, 5, 7}) {
    EXPECT_EQ("missing node " + std::to_string(key), ParseFailure(NewOrder({}, key)));
  }
  // Reading follows the key order: the first fault wins.
  EXPECT_EQ("missing node 4", ParseFailure(NewOrder({{5, Str("x")}}, 4)));
  EXPECT_EQ("node 5 has unexpected type", ParseFailure(NewOrder({{5, Str("x")}})));
  EXPECT_EQ("node 1 has unexpected type", ParseFailure(NewOrder({{1, Null()}})));
  EXPECT_EQ("node 7 has unexpected type", ParseFailure(NewOrder({{7, Int(1)}})));
  EXPECT_EQ("node 8 has unexpected type", ParseFailure(NewOrder({{8, Null()}})));

  // Groups name no key.
  EXPECT_EQ("node has unexpected type", ParseFailure(NewOrder({{6, Null()}})));
  EXPECT_EQ("node has unexpected type", ParseFailure(NewOrder({{6, List({})}})));
  EXPECT_EQ("node has unexpected type", ParseFailure(NewOrder({{9, Struct({})}})));
  EXPECT_EQ("node has unexpected type", ParseFailure(NewOrder({{9, Null()}})));
  EXPECT_EQ("node has unexpected type",
            ParseFailure(NewOrder({{9, List({Struct({{2, Str("1")}}), Str("2")})}})));
  // Inside a group the key is the one in the group.
  EXPECT_EQ("missing node 3", ParseFailure(NewOrder({{6, Struct({{1, Int(1)}, {2, Int(2)}})}})));
  EXPECT_EQ("node 2 has unexpected type",
            ParseFailure(NewOrder({{6, Struct({{1, Int(1)}, {2, Str("2")}, {3, Str("d")}})}})));
  EXPECT_EQ("missing node 2", ParseFailure(NewOrder({{9, List({Struct({{1, Str("name only")}})})}})));
  EXPECT_EQ("node 1 has unexpected type",
            ParseFailure(NewOrder({{9, List({Struct({{1, Null()}, {2, Str("1")}})})}})));
}

TEST(IncomingMessagesTest, UpdateOrderTellsAbsentNullAndSet) {
  const auto only = ParseAs<quorlan::UpdateOrderInMsg>(Tree(0x0402, {{1, Int(7)}}));
  ASSERT_NE(nullptr, only);
  EXPECT_EQ(7u, only->orderId.value);
  for (const quorlan::FieldState state : {only->number.state, only->text.state, only->destination.state,
                                          only->plannedArrival.state, only->telephoneNumbers.state}) {
    EXPECT_EQ(quorlan::Absent, state);
  }

  const auto cleared =
      ParseAs<quorlan::UpdateOrderInMsg>(Tree(0x0402, {{1, Int(7)}, {6, Null()}, {8, Null()}, {9, Null()}}));
  EXPECT_EQ(quorlan::Null, cleared->destination.state);
  EXPECT_EQ(quorlan::Null, cleared->plannedArrival.state);
  EXPECT_EQ(quorlan::Null, cleared->telephoneNumbers.state);

  const auto changed = ParseAs<quorlan::UpdateOrderInMsg>(
      Tree(0x0402, {{1, Int(7)},
                    {2, Str("B2")},
                    {3, Str("keys 3, 5 and 7 are no part of an update")},
                    {4, Str("new text")},
                    {6, Struct({{1, Int(1)}, {2, Int(2)}, {3, Str("there")}})},
                    {8, Int(5)},
                    {9, List({Struct({{2, Str("9")}})})}}));
  EXPECT_EQ("B2", changed->number.value);
  EXPECT_EQ("new text", changed->text.value);
  EXPECT_EQ("there", changed->destination.value.description.value);
  EXPECT_EQ(5u, changed->plannedArrival.value);
  ASSERT_EQ(1u, changed->telephoneNumbers.value.size());
  EXPECT_EQ("9", changed->telephoneNumbers.value[0].number.value);
  EXPECT_EQ("update 7", DispatchedTo(Tree(0x0402, {{1, Int(7)}})));

  EXPECT_EQ("missing node 1", ParseFailure(Tree(0x0402, {{2, Str("B2")}})));
  EXPECT_EQ("node 2 has unexpected type", ParseFailure(Tree(0x0402, {{1, Int(7)}, {2, Null()}})));
  EXPECT_EQ("node 4 has unexpected type", ParseFailure(Tree(0x0402, {{1, Int(7)}, {4, Null()}})));
  EXPECT_EQ("node has unexpected type", ParseFailure(Tree(0x0402, {{1, Int(7)}, {6, Int(1)}})));
  EXPECT_EQ("node has unexpected type", ParseFailure(Tree(0x0402, {{1, Int(7)}, {9, List({Null()})}})));
}

TEST(IncomingMessagesTest, CancelTextConfigurationAndReset) {
  const auto cancel = ParseAs<quorlan::CancelOrderInMsg>(Tree(0x0403, {{1, Int(99)}}));
  EXPECT_EQ(99u, cancel->orderId.value);
  EXPECT_EQ("cancel 99", DispatchedTo(Tree(0x0403, {{1, Int(99)}})));
  EXPECT_EQ("missing node 1", ParseFailure(Tree(0x0403, {})));

  // The 10-byte example message is a text message.
  const Buffer hi = Bytes({0x04, 0x04, 0x01, 0xC2, 0x07, 0x02, 0x40, 0x02, 0x48, 0x69});
  const auto text = ParseAs<quorlan::NewTextMessageInMsg>(hi);
  EXPECT_EQ(7u, text->messageId.value);
  EXPECT_EQ("Hi", text->text.value);
  EXPECT_EQ("text Hi", DispatchedTo(hi));
  EXPECT_EQ("missing node 2", ParseFailure(Tree(0x0404, {{1, Int(7)}})));

  const auto none = ParseAs<quorlan::ConfigurationInMsg>(Tree(0x0405, {}));
  EXPECT_EQ(quorlan::Absent, none->askDriverId.state);
  EXPECT_EQ(quorlan::Absent, none->resetMode.state);
  EXPECT_EQ("configuration", DispatchedTo(Tree(0x0405, {})));

  const auto all = ParseAs<quorlan::ConfigurationInMsg>(Tree(0x0405, {{1, Bool(true)},
                                                                      {2, Bool(false)},
                                                                      {3, Bool(true)},
                                                                      {4, Bool(false)},
                                                                      {5, Bool(true)},
                                                                      {6, Bool(false)},
                                                                      {7, Int(600)},
                                                                      {8, Int(3600)},
                                                                      {9, Str("no key 9: ignored")},
                                                                      {10, Bool(true)},
                                                                      {11, Int(2)}}));
  EXPECT_TRUE(all->askDriverId.value);
  EXPECT_FALSE(all->logbookEnabled.value);
  EXPECT_TRUE(all->thirdLogbookMode.value);
  EXPECT_FALSE(all->workingTimeEnabled.value);
  EXPECT_TRUE(all->logbookFollowsWorkingTime.value);
  EXPECT_EQ(quorlan::Set, all->etaEnabled.state);
  EXPECT_FALSE(all->etaEnabled.value);
  EXPECT_EQ(600u, all->etaIntervalHome.value);
  EXPECT_EQ(3600u, all->etaIntervalRoaming.value);
  EXPECT_TRUE(all->privacyEnabled.value);
  EXPECT_EQ(2, all->resetMode.value);
  // An integer is not a bool, and nothing is nullable.
  EXPECT_EQ("node 3 has unexpected type", ParseFailure(Tree(0x0405, {{3, Int(1)}})));
  EXPECT_EQ("node 11 has unexpected type", ParseFailure(Tree(0x0405, {{11, Null()}})));

  const auto reset = ParseAs<quorlan::ResetInMsg>(Tree(0x0406, {{2, Bool(true)}}));
  EXPECT_EQ(quorlan::Absent, reset->deleteOrders.state);
  EXPECT_TRUE(reset->deleteTextMessages.IsSet());
  EXPECT_TRUE(reset->deleteTextMessages.value);
  EXPECT_EQ("reset", DispatchedTo(Tree(0x0406, {})));
  EXPECT_EQ("node 1 has unexpected type", ParseFailure(Tree(0x0406, {{1, Str("yes")}})));
}

TEST(IncomingMessagesTest, CodecKnowsOnlyTheSixIdsAndChecksTheTreeFirst) {
  for (uint16_t id = 0x0401; id <= 0x0406; ++id) {
    EXPECT_TRUE(MessageCodec::IsRegistered(id)) << id;
  }
  EXPECT_FALSE(MessageCodec::IsRegistered(0x0407));
  EXPECT_FALSE(MessageCodec::IsRegistered(0x0501));
  EXPECT_EQ("unknown message", ParseFailure(Tree(0x0407, {{1, Int(1)}})));
  EXPECT_EQ("unknown message", ParseFailure(Tree(0x0501, {})));
  EXPECT_EQ("unknown message", ParseFailure(Tree(0x0400, {})));
  // A broken tree fails with its own text, whatever the id.
  EXPECT_EQ("idx is out of range", ParseFailure(Bytes({0x04, 0x07, 0x01})));
  EXPECT_EQ("message has invalid length", ParseFailure(Bytes({0x04, 0x01, 0x01, 0x40, 0x09})));
  EXPECT_EQ("node has unknown type", ParseFailure(Bytes({0x04, 0x01, 0x01, 0x30})));
}

// A stand-in for the reset message, to see that registration replaces.
class CountingFactory : public quorlan::AIncomingMessageFactory {
 public:
  boost::shared_ptr<AIncomingMessage> Create() override {
    ++created;
    return boost::make_shared<quorlan::CancelOrderInMsg>();
  }
  uint16_t GetMessageId() const override { return 0x0406; }
  int created = 0;
};

TEST(IncomingMessagesTest, ALaterFactoryForTheSameIdReplacesTheFirst) {
  CountingFactory counting;
  MessageCodec::Register(counting);
  const auto replaced = MessageCodec::Parse(Tree(0x0406, {{1, Int(5)}}));
  EXPECT_EQ(1, counting.created);
  EXPECT_EQ(0x0403, replaced->GetId());
  // Put the real one back for the other tests.
  static quorlan::IncomingMessageFactory<quorlan::ResetInMsg> original;
  EXPECT_EQ(0x0406, MessageCodec::Parse(Tree(0x0406, {}))->GetId());
  EXPECT_EQ(1, counting.created);
}

TEST(IncomingMessagesTest, ServerNumbersTranslate) {
  EXPECT_EQ(1, quorlan::OrderTypeFromServer(0));
  EXPECT_EQ(3, quorlan::OrderTypeFromServer(1));
  EXPECT_EQ(2, quorlan::OrderTypeFromServer(2));
  EXPECT_EQ(1, quorlan::OrderTypeFromServer(44));
  EXPECT_EQ(0, quorlan::OrderTypeToServer(1));
  EXPECT_EQ(2, quorlan::OrderTypeToServer(2));
  EXPECT_EQ(1, quorlan::OrderTypeToServer(3));
  EXPECT_EQ(0, quorlan::OrderTypeToServer(0));
  // The way there and back meets for the server's own values 1 and 2.
  for (const uint8_t type : {1, 2}) {
    EXPECT_EQ(type, quorlan::OrderTypeToServer(quorlan::OrderTypeFromServer(type)));
  }
  for (int state = 0; state < 256; ++state) {
    EXPECT_EQ(state >= 1 && state <= 3 ? state : 0,
              quorlan::WorkingTimeStateToServer(static_cast<uint8_t>(state)));
  }
}

}  // namespace

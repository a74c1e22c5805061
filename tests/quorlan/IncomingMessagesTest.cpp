#include "quorlan/IncomingMessages.h"

#include <gtest/gtest.h>

#include <string>

#include "common/Exceptions.h"
#include "quorlan/FieldText.h"
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

TEST(IncomingMessagesTest, MessagesReadTheirFieldsAndDispatch) {
  const Buffer smallest = Bytes({0x04, 0x01, 0x01, 0xC4, 0x03, 0xE9, 0x02, 0x40, 0x02, 0x41, 0x31, 0x03,
                                 0xC2, 0x01, 0x04, 0x40, 0x02, 0x47, 0x6F, 0x05, 0xC2, 0x01, 0x07, 0xC0});
  EXPECT_EQ(Hex(smallest), Hex(NewOrder()));
  const auto newOrder = [](const Buffer& bytes) {
    const auto o = ParseAs<quorlan::NewOrderInMsg>(bytes);
    return o->GetId() == 0x0401
               ? Fields(o->orderId, o->number, o->orderType, o->text, o->allowedActiveStates, o->destination,
                        o->acceptanceRequired, o->plannedArrival, o->telephoneNumbers)
               : "wrong id";
  };
  const auto update = [](const Buffer& bytes) {
    const auto o = ParseAs<quorlan::UpdateOrderInMsg>(bytes);
    return Fields(o->orderId, o->number, o->text, o->destination, o->plannedArrival, o->telephoneNumbers);
  };
  const auto configuration = [](const Buffer& bytes) {
    const auto c = ParseAs<quorlan::ConfigurationInMsg>(bytes);
    return Fields(c->askDriverId, c->logbookEnabled, c->thirdLogbookMode, c->workingTimeEnabled,
                  c->logbookFollowsWorkingTime, c->etaEnabled, c->etaIntervalHome, c->etaIntervalRoaming,
                  c->privacyEnabled, c->resetMode);
  };
  const Buffer hi =
      Bytes({0x04, 0x04, 0x01, 0xC2, 0x07, 0x02, 0x40, 0x02, 0x48, 0x69});  // the 10-byte example
  const auto text = ParseAs<quorlan::NewTextMessageInMsg>(hi);
  const auto reset = ParseAs<quorlan::ResetInMsg>(Tree(0x0406, {{2, Bool(true)}}));
  const std::vector<std::pair<std::string, std::string>> rows = {
      {newOrder(smallest), "1001 A1 1 Go 1 - 0 - -"},
      {newOrder(NewOrder(
           {{3, Int(300)},  // cut to 8 bits
            {6, Struct({{1, Int(48137000)}, {2, Int(-11575000)}, {3, Str("Marienplatz")}})},
            {7, Bool(true)},
            {8, Int(790000000)},
            {9, List({Struct({{1, Str("office")}, {2, Str("+49 89 1")}}), Struct({{2, Str("112")}})})}})),
       "1001 A1 44 Go 1 {48137000 -11575000 Marienplatz} 1 790000000 [{office +49 89 1}{- 112}]"},
      {newOrder(NewOrder({{9, List({})}})), "1001 A1 1 Go 1 - 0 - []"},
      {update(Tree(0x0402, {{1, Int(7)}})), "7 - - - - -"},
      {update(Tree(0x0402, {{1, Int(7)}, {6, Null()}, {8, Null()}, {9, Null()}})), "7 - - null null null"},
      {update(Tree(0x0402, {{1, Int(7)},
                            {2, Str("B2")},
                            {3, Str("keys 3, 5 and 7 are no part of an update")},
                            {4, Str("new text")},
                            {6, Struct({{1, Int(1)}, {2, Int(2)}, {3, Str("there")}})},
                            {8, Int(5)},
                            {9, List({Struct({{2, Str("9")}})})}})),
       "7 B2 new text {1 2 there} 5 [{- 9}]"},
      {Fields(ParseAs<quorlan::CancelOrderInMsg>(Tree(0x0403, {{1, Int(99)}}))->orderId), "99"},
      {Fields(text->messageId, text->text), "7 Hi"},
      {configuration(Tree(0x0405, {})), "- - - - - - - - - -"},
      {configuration(Tree(0x0405, {{1, Bool(true)},
                                   {2, Bool(false)},
                                   {3, Bool(true)},
                                   {4, Bool(false)},
                                   {5, Bool(true)},
                                   {6, Bool(false)},
                                   {7, Int(600)},
                                   {8, Int(3600)},
                                   {9, Str("no key 9: ignored")},
                                   {10, Bool(true)},
                                   {11, Int(2)}})),
       "1 0 1 0 1 0 600 3600 1 2"},
      {Fields(reset->deleteOrders, reset->deleteTextMessages), "- 1"},
      {DispatchedTo(smallest) + ", " + DispatchedTo(Tree(0x0402, {{1, Int(7)}})) + ", " +
           DispatchedTo(Tree(0x0403, {{1, Int(99)}})) + ", " + DispatchedTo(hi) + ", " +
           DispatchedTo(Tree(0x0405, {})) + ", " + DispatchedTo(Tree(0x0406, {})),
       "new order 1001, update 7, cancel 99, text Hi, configuration, reset"},
  };
  for (size_t i = 0; i < rows.size(); ++i) {
    EXPECT_EQ(rows[i].second, rows[i].first) << "row " << i;
  }
}

TEST(IncomingMessagesTest, RulesFailWithTheirTexts) {
  const auto newOrderGroup = [](quorlan::MessageNodePtr node) { return ParseFailure(NewOrder({{6, node}})); };
  const auto newOrderList = [](quorlan::MessageNodePtr node) { return ParseFailure(NewOrder({{9, node}})); };
  const std::vector<std::pair<std::string, std::string>> rows = {
      // Reading follows the key order: the first fault wins.
      {ParseFailure(NewOrder({{5, Str("x")}}, 4)), "missing node 4"},
      {ParseFailure(NewOrder({{5, Str("x")}})), "node 5 has unexpected type"},
      {ParseFailure(NewOrder({{1, Null()}})), "node 1 has unexpected type"},
      {ParseFailure(NewOrder({{7, Int(1)}})), "node 7 has unexpected type"},
      {ParseFailure(NewOrder({{8, Null()}})), "node 8 has unexpected type"},
      // Groups name no key; inside a group the key is the one in the group.
      {newOrderGroup(Null()), "node has unexpected type"},
      {newOrderGroup(List({})), "node has unexpected type"},
      {newOrderList(Struct({})), "node has unexpected type"},
      {newOrderList(Null()), "node has unexpected type"},
      {newOrderList(List({Struct({{2, Str("1")}}), Str("2")})), "node has unexpected type"},
      {newOrderGroup(Struct({{1, Int(1)}, {2, Int(2)}})), "missing node 3"},
      {newOrderGroup(Struct({{1, Int(1)}, {2, Str("2")}, {3, Str("d")}})), "node 2 has unexpected type"},
      {newOrderList(List({Struct({{1, Str("name only")}})})), "missing node 2"},
      {newOrderList(List({Struct({{1, Null()}, {2, Str("1")}})})), "node 1 has unexpected type"},
      {ParseFailure(Tree(0x0402, {{2, Str("B2")}})), "missing node 1"},
      {ParseFailure(Tree(0x0402, {{1, Int(7)}, {2, Null()}})), "node 2 has unexpected type"},
      {ParseFailure(Tree(0x0402, {{1, Int(7)}, {4, Null()}})), "node 4 has unexpected type"},
      {ParseFailure(Tree(0x0402, {{1, Int(7)}, {6, Int(1)}})), "node has unexpected type"},
      {ParseFailure(Tree(0x0402, {{1, Int(7)}, {9, List({Null()})}})), "node has unexpected type"},
      {ParseFailure(Tree(0x0403, {})), "missing node 1"},
      {ParseFailure(Tree(0x0403, {{1, Null()}})), "node 1 has unexpected type"},
      {ParseFailure(Tree(0x0404, {{1, Int(7)}})), "missing node 2"},
      {ParseFailure(Tree(0x0404, {{1, Null()}, {2, Str("Hi")}})), "node 1 has unexpected type"},
      // An integer is not a bool, and nothing is nullable.
      {ParseFailure(Tree(0x0405, {{3, Int(1)}})), "node 3 has unexpected type"},
      {ParseFailure(Tree(0x0405, {{11, Null()}})), "node 11 has unexpected type"},
      {ParseFailure(Tree(0x0406, {{1, Str("yes")}})), "node 1 has unexpected type"},
  };
  for (size_t i = 0; i < rows.size(); ++i) {
    EXPECT_EQ(rows[i].second, rows[i].first) << "row " << i;
  }
  for (const uint8_t key : {1, 2, 3, 4, 5, 7}) {
    EXPECT_EQ("missing node " + std::to_string(key), ParseFailure(NewOrder({}, key)));
  }
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
  // Order types from the server (0, 1, 2, other) and back (1, 2, 3, other).
  EXPECT_EQ("1 3 2 1 0 2 1 0", Fields(quorlan::OrderTypeFromServer(0), quorlan::OrderTypeFromServer(1),
                                      quorlan::OrderTypeFromServer(2), quorlan::OrderTypeFromServer(44),
                                      quorlan::OrderTypeToServer(1), quorlan::OrderTypeToServer(2),
                                      quorlan::OrderTypeToServer(3), quorlan::OrderTypeToServer(0)));
  for (int state = 0; state < 256; ++state) {
    EXPECT_EQ(state >= 1 && state <= 3 ? state : 0,
              quorlan::WorkingTimeStateToServer(static_cast<uint8_t>(state)));
  }
}

}  // namespace

#include "quorlan/Message.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "common/Exceptions.h"
#include "quorlan/TestHelpers.h"

namespace {

using common::Buffer;
using quorlan::ListMessageNode;
using quorlan::Message;
using quorlan::MessageNodePtr;
using quorlan::StructMessageNode;
using namespace quorlantest;

std::string Serialized(const quorlan::AMessageNode& node) {
  Buffer buffer(16, 200);
  node.Serialize(buffer);
  return Hex(buffer);
}

// The text of the ParseException of parsing bytes, "no failure" if they parse.
std::string ParseError(const Buffer& bytes) {
  Message message;
  return Thrown<ParseException>([&] { message.Parse(bytes); });
}

std::string Reserialized(const Buffer& bytes) {
  Message message;
  message.Parse(bytes);
  return Serialized(message);
}

template <class T>
boost::shared_ptr<T> At(const quorlan::AContainerNode& tree, const std::string& path) {
  const boost::shared_ptr<T> node = boost::dynamic_pointer_cast<T>(tree.GetNode(path));
  EXPECT_NE(nullptr, node) << path;
  return node;
}

int64_t IntegerAt(const quorlan::AContainerNode& tree, const std::string& path) {
  return At<quorlan::IntegerMessageNode>(tree, path)->GetValue();
}

TEST(MessageTest, WorkedExamplesByteForByte) {
  Message hi(0x0404);
  hi.SetNode(2, Str("Hi"));
  hi.SetNode(1, Int(7));
  EXPECT_EQ("04 04 01 C2 07 02 40 02 48 69", Serialized(hi));
  const std::string example = "05 01 01 C4 13 88 02 C3 01 03 12 01 C1 02 C6 00 01 11 70 05 22 00 80 02 AB CD";
  EXPECT_EQ(example, Hex(Tree(0x0501, {{1, Int(5000)},
                                       {2, Int(-1)},
                                       {3, Struct({{1, Bool(true)}, {2, Int(70000)}})},
                                       {5, List({Null(), ByteArray(Bytes({0xAB, 0xCD}))})}})));
  Message back;
  back.Parse(Bytes({0x05, 0x01, 0x01, 0xC4, 0x13, 0x88, 0x02, 0xC3, 0x01, 0x03, 0x12, 0x01, 0xC1,
                    0x02, 0xC6, 0x00, 0x01, 0x11, 0x70, 0x05, 0x22, 0x00, 0x80, 0x02, 0xAB, 0xCD}));
  // Read back, every node writes itself again as it came.
  EXPECT_EQ(example, Serialized(back));
}

TEST(MessageTest, IntegersAreSignAndMagnitudeInTheShortestWidth) {
  const struct {
    int64_t value;
    const char* bytes;
  } table[] = {
      {0, "C2 00"},
      {255, "C2 FF"},
      {256, "C4 01 00"},
      {65535, "C4 FF FF"},
      {65536, "C6 00 01 00 00"},
      {4294967295LL, "C6 FF FF FF FF"},
      {4294967296LL, "C8 00 00 00 01 00 00 00 00"},
      {-1, "C3 01"},
      {-256, "C5 01 00"},
      {-70000, "C7 00 01 11 70"},
      {INT64_MAX, "C8 7F FF FF FF FF FF FF FF"},
      {INT64_MIN, "C9 80 00 00 00 00 00 00 00"},
  };
  for (const auto& row : table) {
    EXPECT_EQ(row.bytes, Serialized(quorlan::IntegerMessageNode(row.value))) << row.value;
    Message back;
    back.Parse(Tree(1, {{1, Int(row.value)}}));
    EXPECT_EQ(row.value, IntegerAt(back, "1")) << row.value;
  }
  // Wider forms than needed, and a negative zero, come back in the shortest.
  EXPECT_EQ("00 01 01 C2 07", Reserialized(Bytes({0x00, 0x01, 0x01, 0xC4, 0x00, 0x07})));
  EXPECT_EQ("00 01 01 C2 07", Reserialized(Bytes({0x00, 0x01, 0x01, 0xC8, 0, 0, 0, 0, 0, 0, 0, 0x07})));
  EXPECT_EQ("00 01 01 C2 00", Reserialized(Bytes({0x00, 0x01, 0x01, 0xC3, 0x00})));
  // A selector that names no width, when an integer node is made to read it.
  quorlan::IntegerMessageNode node;
  EXPECT_EQ("integer-node has invalid length", Thrown<ParseException>([&] { node.Parse(Bytes({0xC0}), 0); }));
}

TEST(MessageTest, ContainerCountsAndBlockLengthsInShortAndLongForm) {
  ListMessageNode list300;
  for (int i = 0; i < 300; ++i) {
    list300.SetNode(0, Null());
  }
  EXPECT_EQ("29 2C 00 00", Serialized(list300).substr(0, 11));
  EXPECT_EQ("41 2C 78", Serialized(quorlan::StringMessageNode(std::string(300, 'x'))).substr(0, 8));
  // Strings and byte arrays always use two length bytes.
  EXPECT_EQ("40 00", Serialized(quorlan::StringMessageNode("")));
  EXPECT_EQ("80 00", Serialized(quorlan::ByteArrayMessageNode(0u)));
  // Seven entries fit the one-byte header, eight need two.
  StructMessageNode group;
  for (int key = 1; key <= 7; ++key) {
    group.SetNode(static_cast<uint8_t>(key), Null());
  }
  EXPECT_EQ("17", Serialized(group).substr(0, 2));
  group.SetNode(8, Null());
  EXPECT_EQ("18 08 01 00", Serialized(group).substr(0, 11));

  // Reading accepts the long form for small counts; writing normalises it.
  EXPECT_EQ("00 01 01 12 01 C1 02 C0",
            Reserialized(Bytes({0x00, 0x01, 0x01, 0x18, 0x02, 0x01, 0xC1, 0x02, 0xC0})));
  EXPECT_EQ("00 01 01 21 C1", Reserialized(Bytes({0x00, 0x01, 0x01, 0x28, 0x01, 0xC1})));
  Message back;
  back.Parse(Tree(1, {{1, boost::make_shared<ListMessageNode>(list300)}}));
  EXPECT_EQ(300u, At<ListMessageNode>(back, "1")->GetCount());
  // Every null tag 0x00 to 0x0F reads as null and is written as 0x00.
  EXPECT_EQ("00 01 01 00 02 00", Reserialized(Bytes({0x00, 0x01, 0x01, 0x0F, 0x02, 0x05})));
}

TEST(MessageTest, WritingLimitsFailAndLeaveTheBufferEmpty) {
  // Serialises a message holding node in a buffer that held something before.
  const auto written = [](const MessageNodePtr& node) -> std::string {
    Message message(0x0404);
    message.SetNode(2, node);
    Buffer buffer(16, 200);
    buffer.Append(0x55);
    const std::string failure = Thrown<SerializeException>([&] { message.Serialize(buffer); });
    EXPECT_EQ(failure == "no failure" ? 0x04 : -1, buffer.GetSize() == 0 ? -1 : buffer[0]) << failure;
    return failure;
  };
  EXPECT_EQ("7F FF", Serialized(quorlan::StringMessageNode(std::string(16383, 's'))).substr(0, 5));
  EXPECT_EQ("no failure", written(Str(std::string(16383, 's'))));
  EXPECT_EQ("to long string", written(Str(std::string(16384, 's'))));

  Buffer block(16384, 200);
  block.SetSize(16383);
  EXPECT_EQ("BF FF", Serialized(quorlan::ByteArrayMessageNode(block)).substr(0, 5));
  EXPECT_EQ("no failure", written(ByteArray(block)));
  block.SetSize(16384);
  EXPECT_EQ("to long byte array", written(ByteArray(block)));

  const boost::shared_ptr<ListMessageNode> list = boost::make_shared<ListMessageNode>();
  for (int i = 0; i < 2047; ++i) {
    list->SetNode(0, Null());
  }
  EXPECT_EQ("2F FF", Serialized(*list).substr(0, 5));
  EXPECT_EQ("no failure", written(list));
  list->SetNode(0, Null());
  EXPECT_EQ("to long list", written(list));
  EXPECT_EQ("to long list", written(Struct({{9, list}})));  // deep inside as well
}

TEST(MessageTest, BrokenBytesFailWithTheirTexts) {
  EXPECT_EQ("idx is out of range", ParseError(Bytes({})));
  EXPECT_EQ("idx is out of range", ParseError(Bytes({0x04})));
  EXPECT_EQ("no failure", ParseError(Bytes({0x04, 0x04})));
  // A key without a node, a truncated integer, a truncated string header.
  EXPECT_EQ("idx is out of range", ParseError(Bytes({0x04, 0x04, 0x01, 0xC2, 0x07, 0x02})));
  EXPECT_EQ("idx is out of range", ParseError(Bytes({0x04, 0x04, 0x01, 0xC4, 0x01})));
  EXPECT_EQ("idx is out of range", ParseError(Bytes({0x04, 0x04, 0x01, 0x41})));
  for (const int tag : {0x30, 0x3F, 0xCA, 0xCB, 0xD0, 0xFF}) {
    EXPECT_EQ("node has unknown type", ParseError(Bytes({0x04, 0x04, 0x01, tag, 0x00, 0x00}))) << tag;
  }
  // A last string or byte array claiming more bytes than there are.
  EXPECT_EQ("message has invalid length", ParseError(Bytes({0x04, 0x04, 0x01, 0x40, 0x05, 0x41})));
  EXPECT_EQ("message has invalid length", ParseError(Bytes({0x04, 0x04, 0x01, 0x80, 0x05, 0x41})));
  // Inside a struct: with nothing more to read the length test fails; with a
  // further entry announced, the read behind the end does.
  EXPECT_EQ("message has invalid length",
            ParseError(Bytes({0x04, 0x04, 0x01, 0x11, 0x01, 0x40, 0x05, 0x41})));
  EXPECT_EQ("idx is out of range", ParseError(Bytes({0x04, 0x04, 0x01, 0x12, 0x01, 0x40, 0x05, 0x41})));
  EXPECT_EQ("idx is out of range", ParseError(Bytes({0x04, 0x04, 0x01, 0x23, 0xC0, 0xC1})));

  // What was parsed until the failure stays in the tree; duplicates keep the
  // later node; a parse replaces what the tree held.
  Message message(0x0101);
  message.SetNode(9, Null());
  EXPECT_NE("no failure", Thrown<ParseException>([&] {
              message.Parse(Bytes({0x04, 0x04, 0x01, 0xC2, 0x07, 0x02}));
            }));
  EXPECT_EQ(0x0404, message.GetId());
  EXPECT_EQ(7, IntegerAt(message, "1"));
  message.Parse(Bytes({0x04, 0x05, 0x01, 0xC2, 0x01, 0x03, 0x12, 0x01, 0xC0, 0x01, 0xC1, 0x01, 0xC2, 0x02}));
  EXPECT_EQ("04 05 01 C2 02 03 11 01 C1", Serialized(message));
}

TEST(MessageTest, NestingIsBoundedWithoutExhaustingTheStack) {
  // Key 1 holds a chain of one-element lists (or structs) around a null.
  const auto nested = [](unsigned depth, const std::string& link) {
    std::string raw("\x00\x01\x01", 3);
    for (unsigned i = 0; i < depth; ++i) {
      raw += link;
    }
    return Bytes(raw + '\x00');
  };
  EXPECT_EQ("no failure", ParseError(nested(quorlan::kMaxNestingDepth, "\x21")));
  EXPECT_EQ("message nests too deeply", ParseError(nested(quorlan::kMaxNestingDepth + 1, "\x21")));
  EXPECT_EQ("message nests too deeply", ParseError(nested(200000, "\x21")));
  EXPECT_EQ("message nests too deeply", ParseError(nested(quorlan::kMaxNestingDepth + 1, "\x11\x05")));
  // A failure leaves no depth behind.
  EXPECT_EQ("no failure", ParseError(nested(quorlan::kMaxNestingDepth, "\x11\x05")));
}

TEST(MessageTest, PathsWalkContainersWithEightBitKeys) {
  Message message;
  message.Parse(Tree(0x0401, {{6, Struct({{1, Int(48137000)}})},
                              {9, List({Struct({{2, Str("+49 89 1")}}), Int(3)})},
                              {44, Int(44)}}));
  EXPECT_EQ(48137000, IntegerAt(message, "6/1"));
  EXPECT_EQ("+49 89 1", At<quorlan::StringMessageNode>(message, "9/0/2")->GetValue());
  EXPECT_EQ(3, IntegerAt(message, "9/1"));             // in a list the key is a position
  EXPECT_EQ(44, IntegerAt(message, "300"));            // keys are cut to 8 bits
  EXPECT_EQ(48137000, IntegerAt(message, " 6/1xyz"));  // strtol's reading

  const auto notFound = [&](const std::string& path) {
    return Thrown<NotFoundException>([&] { message.GetNode(path); });
  };
  EXPECT_EQ("can't find node", notFound("7"));
  EXPECT_EQ("can't find node", notFound("6/2"));
  EXPECT_EQ("can't find node", notFound("9/2"));
  EXPECT_EQ("", notFound("6/1/1"));  // an integer is no container
  for (const char* bad : {"", "x", "/1", "6/", "6/x", "9//1"}) {
    EXPECT_EQ("invalid path", Thrown<std::invalid_argument>([&] { message.GetNode(std::string(bad)); }))
        << bad;
  }

  EXPECT_TRUE(message.HasNode("9/0/2"));
  EXPECT_TRUE(message.HasNode(uint8_t{44}));
  EXPECT_FALSE(message.HasNode(uint8_t{7}));
  EXPECT_FALSE(message.HasNode("6/1/1"));
  EXPECT_THROW(message.HasNode("6/x"), std::invalid_argument);

  // SetNode appends to a list whatever the key (a struct replaces: see the
  // duplicate keys in BrokenBytesFailWithTheirTexts).
  ListMessageNode list;
  list.SetNode(7, Int(1));
  list.SetNode(7, Int(2));
  EXPECT_EQ("22 C2 01 C2 02", Serialized(list));

  // A subtree outlives its tree.
  MessageNodePtr kept;
  {
    Message temporary;
    temporary.Parse(Tree(1, {{1, Str("kept")}}));
    kept = temporary.GetNode(1);
  }
  EXPECT_EQ("kept", boost::dynamic_pointer_cast<quorlan::StringMessageNode>(kept)->GetValue());
}

}  // namespace

#include "quorlan/Message.h"

#include <gtest/gtest.h>

#include <boost/make_shared.hpp>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "common/Exceptions.h"
#include "quorlan/BoolMessageNode.h"
#include "quorlan/ByteArrayMessageNode.h"
#include "quorlan/IntegerMessageNode.h"
#include "quorlan/ListMessageNode.h"
#include "quorlan/NullMessageNode.h"
#include "quorlan/StringMessageNode.h"
#include "quorlan/StructMessageNode.h"
#include "quorlan/TestHelpers.h"

namespace {

using common::Buffer;
using quorlan::BoolMessageNode;
using quorlan::ByteArrayMessageNode;
using quorlan::IntegerMessageNode;
using quorlan::ListMessageNode;
using quorlan::Message;
using quorlan::MessageNodePtr;
using quorlan::NullMessageNode;
using quorlan::StringMessageNode;
using quorlan::StructMessageNode;
using quorlantest::Bytes;
using quorlantest::Hex;

std::string Serialized(const Message& message) {
  Buffer buffer(16, 200);
  message.Serialize(buffer);
  return Hex(buffer);
}

std::string SerializedNode(const quorlan::AMessageNode& node) {
  Buffer buffer(16, 200);
  node.Serialize(buffer);
  return Hex(buffer);
}

// The text of the ParseException that parsing throws; "" if it parses. Any
// other exception type fails the test.
std::string ParseError(const Buffer& bytes) {
  Message message;
  try {
    message.Parse(bytes);
  } catch (const ParseException& error) {
    return error.what();
  }
  return "";
}

// Parses and writes again.
std::string Reserialized(const Buffer& bytes) {
  Message message;
  message.Parse(bytes);
  return Serialized(message);
}

int64_t IntegerAt(const Message& message, const std::string& path) {
  return boost::dynamic_pointer_cast<IntegerMessageNode>(message.GetNode(path))->GetValue();
}

TEST(MessageTest, WorkedExamplesByteForByte) {
  Message hi(0x0404);
  hi.SetNode(2, boost::make_shared<StringMessageNode>("Hi"));
  hi.SetNode(1, boost::make_shared<IntegerMessageNode>(7));
  EXPECT_EQ("04 04 01 C2 07 02 40 02 48 69", Serialized(hi));

  Message parsed;
  parsed.Parse(Bytes({0x04, 0x04, 0x01, 0xC2, 0x07, 0x02, 0x40, 0x02, 0x48, 0x69}));
  EXPECT_EQ(0x0404, parsed.GetId());
  EXPECT_EQ(2u, parsed.GetCount());
  EXPECT_EQ(7, IntegerAt(parsed, "1"));
  EXPECT_EQ("Hi", boost::dynamic_pointer_cast<StringMessageNode>(parsed.GetNode(2))->GetValue());

  Message event(0x0501);
  event.SetNode(1, boost::make_shared<IntegerMessageNode>(5000));
  event.SetNode(2, boost::make_shared<IntegerMessageNode>(-1));
  const boost::shared_ptr<StructMessageNode> group = boost::make_shared<StructMessageNode>();
  group->SetNode(1, boost::make_shared<BoolMessageNode>(true));
  group->SetNode(2, boost::make_shared<IntegerMessageNode>(70000));
  event.SetNode(3, group);
  const boost::shared_ptr<ListMessageNode> list = boost::make_shared<ListMessageNode>();
  list->SetNode(0, boost::make_shared<NullMessageNode>());
  list->SetNode(0, boost::make_shared<ByteArrayMessageNode>(Bytes({0xAB, 0xCD})));
  event.SetNode(5, list);
  const std::string expected =
      "05 01 01 C4 13 88 02 C3 01 03 12 01 C1 02 C6 00 01 11 70 05 22 00 80 02 AB CD";
  EXPECT_EQ(expected, Serialized(event));

  Message back;
  back.Parse(Bytes({0x05, 0x01, 0x01, 0xC4, 0x13, 0x88, 0x02, 0xC3, 0x01, 0x03, 0x12, 0x01, 0xC1,
                    0x02, 0xC6, 0x00, 0x01, 0x11, 0x70, 0x05, 0x22, 0x00, 0x80, 0x02, 0xAB, 0xCD}));
  EXPECT_EQ(-1, IntegerAt(back, "2"));
  EXPECT_EQ(70000, IntegerAt(back, "3/2"));
  EXPECT_TRUE(boost::dynamic_pointer_cast<BoolMessageNode>(back.GetNode("3/1"))->GetValue());
  EXPECT_NE(nullptr, boost::dynamic_pointer_cast<NullMessageNode>(back.GetNode("5/0")));
  EXPECT_EQ("AB CD", Hex(boost::dynamic_pointer_cast<ByteArrayMessageNode>(back.GetNode("5/1"))->GetValue()));
  EXPECT_EQ(expected, Serialized(back));
}

TEST(MessageTest, IntegersAreSignAndMagnitudeInTheShortestWidth) {
  const struct {
    int64_t value;
    const char* bytes;
  } table[] = {
      {0, "C2 00"},
      {7, "C2 07"},
      {255, "C2 FF"},
      {256, "C4 01 00"},
      {65535, "C4 FF FF"},
      {65536, "C6 00 01 00 00"},
      {4294967295LL, "C6 FF FF FF FF"},
      {4294967296LL, "C8 00 00 00 01 00 00 00 00"},
      {-1, "C3 01"},
      {-255, "C3 FF"},
      {-256, "C5 01 00"},
      {-70000, "C7 00 01 11 70"},
      {INT64_MAX, "C8 7F FF FF FF FF FF FF FF"},
      {INT64_MIN, "C9 80 00 00 00 00 00 00 00"},
  };
  for (const auto& row : table) {
    const IntegerMessageNode node(row.value);
    EXPECT_EQ(row.bytes, SerializedNode(node)) << row.value;

    Message message(1);
    message.SetNode(1, boost::make_shared<IntegerMessageNode>(row.value));
    Message back;
    Buffer bytes(16, 200);
    message.Serialize(bytes);
    back.Parse(bytes);
    EXPECT_EQ(row.value, IntegerAt(back, "1")) << row.value;
  }

  // Wider forms than needed, and a negative zero, are read and written back
  // in the shortest form.
  EXPECT_EQ("00 01 01 C2 07", Reserialized(Bytes({0x00, 0x01, 0x01, 0xC4, 0x00, 0x07})));
  EXPECT_EQ("00 01 01 C2 07", Reserialized(Bytes({0x00, 0x01, 0x01, 0xC8, 0, 0, 0, 0, 0, 0, 0, 0x07})));
  EXPECT_EQ("00 01 01 C2 00", Reserialized(Bytes({0x00, 0x01, 0x01, 0xC3, 0x00})));

  // A selector that names no width, when an integer node is made to read it.
  IntegerMessageNode node;
  EXPECT_THROW(
      {
        try {
          node.Parse(Bytes({0xC0}), 0);
        } catch (const ParseException& error) {
          EXPECT_STREQ("integer-node has invalid length", error.what());
          throw;
        }
      },
      ParseException);
}

TEST(MessageTest, ContainerCountsAndBlockLengthsInShortAndLongForm) {
  // A list of 300 nodes and a string of 300 bytes.
  ListMessageNode longList;
  for (int i = 0; i < 300; ++i) {
    longList.SetNode(0, boost::make_shared<NullMessageNode>());
  }
  EXPECT_EQ("29 2C 00 00", SerializedNode(longList).substr(0, 11));
  const StringMessageNode longString(std::string(300, 'x'));
  EXPECT_EQ("41 2C 78", SerializedNode(longString).substr(0, 8));

  // Strings and byte arrays always use two length bytes.
  EXPECT_EQ("40 00", SerializedNode(StringMessageNode("")));
  EXPECT_EQ("80 00", SerializedNode(ByteArrayMessageNode(0u)));

  // Seven entries fit the one-byte header, eight need two.
  StructMessageNode seven;
  for (int key = 1; key <= 7; ++key) {
    seven.SetNode(static_cast<uint8_t>(key), boost::make_shared<NullMessageNode>());
  }
  EXPECT_EQ("17", SerializedNode(seven).substr(0, 2));
  seven.SetNode(8, boost::make_shared<NullMessageNode>());
  EXPECT_EQ("18 08 01 00", SerializedNode(seven).substr(0, 11));

  // Reading accepts the long form for small counts; writing normalises it.
  EXPECT_EQ("00 01 01 12 01 C1 02 C0",
            Reserialized(Bytes({0x00, 0x01, 0x01, 0x18, 0x02, 0x01, 0xC1, 0x02, 0xC0})));
  EXPECT_EQ("00 01 01 21 C1", Reserialized(Bytes({0x00, 0x01, 0x01, 0x28, 0x01, 0xC1})));
  // A list of 300 reads back with all its elements.
  Message withList(1);
  withList.SetNode(1, boost::make_shared<ListMessageNode>(longList));
  Buffer bytes(16, 200);
  withList.Serialize(bytes);
  Message back;
  back.Parse(bytes);
  EXPECT_EQ(300u, boost::dynamic_pointer_cast<ListMessageNode>(back.GetNode(1))->GetCount());

  // Every null tag 0x00 to 0x0F reads as null and is written as 0x00.
  EXPECT_EQ("00 01 01 00 02 00", Reserialized(Bytes({0x00, 0x01, 0x01, 0x0F, 0x02, 0x05})));
}

TEST(MessageTest, WritingLimitsFailAndLeaveTheBufferEmpty) {
  const auto failure = [](const MessageNodePtr& node) -> std::string {
    Message message(0x0404);
    message.SetNode(1, boost::make_shared<IntegerMessageNode>(1));
    message.SetNode(2, node);
    Buffer buffer(16, 200);
    buffer.Append(0x55);
    try {
      message.Serialize(buffer);
    } catch (const SerializeException& error) {
      EXPECT_EQ(0u, buffer.GetSize());
      return error.what();
    }
    EXPECT_EQ(0x04, buffer[0]);
    return "";
  };

  EXPECT_EQ("", failure(boost::make_shared<StringMessageNode>(std::string(16383, 's'))));
  EXPECT_EQ("7F FF", SerializedNode(StringMessageNode(std::string(16383, 's'))).substr(0, 5));
  EXPECT_EQ("to long string", failure(boost::make_shared<StringMessageNode>(std::string(16384, 's'))));

  Buffer block(16384, 200);
  block.SetSize(16383);
  EXPECT_EQ("", failure(boost::make_shared<ByteArrayMessageNode>(block)));
  EXPECT_EQ("BF FF", SerializedNode(ByteArrayMessageNode(block)).substr(0, 5));
  block.SetSize(16384);
  EXPECT_EQ("to long byte array", failure(boost::make_shared<ByteArrayMessageNode>(block)));

  boost::shared_ptr<ListMessageNode> list = boost::make_shared<ListMessageNode>();
  for (int i = 0; i < 2047; ++i) {
    list->SetNode(0, boost::make_shared<NullMessageNode>());
  }
  EXPECT_EQ("", failure(list));
  EXPECT_EQ("2F FF", SerializedNode(*list).substr(0, 5));
  list->SetNode(0, boost::make_shared<NullMessageNode>());
  EXPECT_EQ("to long list", failure(list));

  // Too long deep inside counts as well.
  boost::shared_ptr<StructMessageNode> outer = boost::make_shared<StructMessageNode>();
  outer->SetNode(9, list);
  EXPECT_EQ("to long list", failure(outer));
}

TEST(MessageTest, BrokenBytesFailWithTheirTexts) {
  EXPECT_EQ("idx is out of range", ParseError(Bytes({})));
  EXPECT_EQ("idx is out of range", ParseError(Bytes({0x04})));
  EXPECT_EQ("", ParseError(Bytes({0x04, 0x04})));
  // A key without a node behind it.
  EXPECT_EQ("idx is out of range", ParseError(Bytes({0x04, 0x04, 0x01, 0xC2, 0x07, 0x02})));
  // Truncated integer and truncated header of a string.
  EXPECT_EQ("idx is out of range", ParseError(Bytes({0x04, 0x04, 0x01, 0xC4, 0x01})));
  EXPECT_EQ("idx is out of range", ParseError(Bytes({0x04, 0x04, 0x01, 0x41})));
  // Unknown families.
  for (const int tag : {0x30, 0x3F, 0xCA, 0xCB, 0xD0, 0xFF}) {
    EXPECT_EQ("node has unknown type", ParseError(Bytes({0x04, 0x04, 0x01, tag, 0x00, 0x00}))) << tag;
  }
  // A last string that claims more bytes than there are.
  EXPECT_EQ("message has invalid length", ParseError(Bytes({0x04, 0x04, 0x01, 0x40, 0x05, 0x41})));
  EXPECT_EQ("message has invalid length", ParseError(Bytes({0x04, 0x04, 0x01, 0x80, 0x05, 0x41})));
  // The same inside a struct: with nothing more to read the length test
  // fails, with a further entry announced the read behind the end fails.
  EXPECT_EQ("message has invalid length",
            ParseError(Bytes({0x04, 0x04, 0x01, 0x11, 0x01, 0x40, 0x05, 0x41})));
  EXPECT_EQ("idx is out of range", ParseError(Bytes({0x04, 0x04, 0x01, 0x12, 0x01, 0x40, 0x05, 0x41})));
  // A list announcing more elements than follow.
  EXPECT_EQ("idx is out of range", ParseError(Bytes({0x04, 0x04, 0x01, 0x23, 0xC0, 0xC1})));
  EXPECT_EQ("idx is out of range", ParseError(Bytes({0x04, 0x04, 0x01, 0x2F, 0xFF})));

  // What was parsed until the failure stays in the tree.
  Message partial;
  EXPECT_THROW(partial.Parse(Bytes({0x04, 0x04, 0x01, 0xC2, 0x07, 0x02, 0x40})), ParseException);
  EXPECT_TRUE(partial.HasNode(1));
  EXPECT_EQ(0x0404, partial.GetId());
}

TEST(MessageTest, LaterDuplicateKeysWinAndParsingReplacesOldContent) {
  Message message(0x0101);
  message.SetNode(9, boost::make_shared<NullMessageNode>());
  message.Parse(Bytes({0x04, 0x04, 0x01, 0xC2, 0x01, 0x03, 0x12, 0x01, 0xC0, 0x01, 0xC1, 0x01, 0xC2, 0x02}));
  EXPECT_EQ(0x0404, message.GetId());
  EXPECT_FALSE(message.HasNode(9));
  EXPECT_EQ(2, IntegerAt(message, "1"));
  EXPECT_TRUE(boost::dynamic_pointer_cast<BoolMessageNode>(message.GetNode("3/1"))->GetValue());
  EXPECT_EQ("04 04 01 C2 02 03 11 01 C1", Serialized(message));

  // SetNode replaces in a struct and appends to a list whatever the key.
  StructMessageNode group;
  group.SetNode(4, boost::make_shared<IntegerMessageNode>(1));
  group.SetNode(4, boost::make_shared<IntegerMessageNode>(2));
  EXPECT_EQ("11 04 C2 02", SerializedNode(group));
  ListMessageNode list;
  list.SetNode(7, boost::make_shared<IntegerMessageNode>(1));
  list.SetNode(7, boost::make_shared<IntegerMessageNode>(2));
  EXPECT_EQ("22 C2 01 C2 02", SerializedNode(list));
  EXPECT_THROW(list.SetNode(0, MessageNodePtr()), std::invalid_argument);
}

TEST(MessageTest, NestingIsBoundedWithoutExhaustingTheStack) {
  // A message whose key 1 holds a chain of one-element lists around a null.
  const auto nested = [](unsigned depth) {
    std::string raw("\x00\x01\x01", 3);
    raw += std::string(depth, '\x21');
    raw += '\x00';
    return Bytes(raw);
  };
  EXPECT_EQ("", ParseError(nested(quorlan::kMaxNestingDepth)));
  EXPECT_EQ("message nests too deeply", ParseError(nested(quorlan::kMaxNestingDepth + 1)));
  EXPECT_EQ("message nests too deeply", ParseError(nested(200000)));
  // Structs count as well, and a failure leaves no depth behind.
  std::string structs("\x00\x01\x01", 3);
  for (unsigned i = 0; i <= quorlan::kMaxNestingDepth; ++i) {
    structs += "\x11\x05";
  }
  structs += '\x00';
  EXPECT_EQ("message nests too deeply", ParseError(Bytes(structs)));
  for (int round = 0; round < 3; ++round) {
    EXPECT_EQ("", ParseError(nested(quorlan::kMaxNestingDepth)));
  }
}

TEST(MessageTest, PathsWalkContainersWithEightBitKeys) {
  Message message(0x0401);
  const boost::shared_ptr<StructMessageNode> destination = boost::make_shared<StructMessageNode>();
  destination->SetNode(1, boost::make_shared<IntegerMessageNode>(48137000));
  message.SetNode(6, destination);
  const boost::shared_ptr<ListMessageNode> contacts = boost::make_shared<ListMessageNode>();
  const boost::shared_ptr<StructMessageNode> contact = boost::make_shared<StructMessageNode>();
  contact->SetNode(2, boost::make_shared<StringMessageNode>("+49 89 1"));
  contacts->SetNode(0, contact);
  contacts->SetNode(0, boost::make_shared<IntegerMessageNode>(3));
  message.SetNode(9, contacts);
  message.SetNode(44, boost::make_shared<IntegerMessageNode>(44));

  EXPECT_EQ(48137000, IntegerAt(message, "6/1"));
  EXPECT_EQ("+49 89 1", boost::dynamic_pointer_cast<StringMessageNode>(message.GetNode("9/0/2"))->GetValue());
  // On a list a key is a position: "1" is the second element.
  EXPECT_EQ(3, IntegerAt(message, "9/1"));
  // Keys are cut to 8 bits, and strtol's reading rules apply.
  EXPECT_EQ(44, IntegerAt(message, "300"));
  EXPECT_EQ(48137000, IntegerAt(message, " 6/1xyz"));

  const auto notFoundText = [&message](const std::string& path) -> std::string {
    try {
      message.GetNode(path);
    } catch (const NotFoundException& error) {
      return error.what();
    }
    return "found";
  };
  EXPECT_EQ("can't find node", notFoundText("7"));
  EXPECT_EQ("can't find node", notFoundText("6/2"));
  EXPECT_EQ("can't find node", notFoundText("9/2"));
  EXPECT_EQ("", notFoundText("6/1/1"));  // an integer is no container

  for (const char* bad : {"", "x", "/1", "6/", "6/x", "9//1"}) {
    EXPECT_THROW(
        {
          try {
            message.GetNode(std::string(bad));
          } catch (const std::invalid_argument& error) {
            EXPECT_STREQ("invalid path", error.what()) << bad;
            throw;
          }
        },
        std::invalid_argument)
        << bad;
  }

  EXPECT_TRUE(message.HasNode("9/0/2"));
  EXPECT_TRUE(message.HasNode(uint8_t{44}));
  EXPECT_FALSE(message.HasNode(uint8_t{7}));
  EXPECT_FALSE(message.HasNode("7"));
  EXPECT_FALSE(message.HasNode("6/1/1"));
  EXPECT_THROW(message.HasNode("6/x"), std::invalid_argument);

  // A subtree outlives its tree.
  MessageNodePtr kept;
  {
    Message temporary(1);
    temporary.SetNode(1, boost::make_shared<StringMessageNode>("kept"));
    kept = temporary.GetNode(1);
  }
  EXPECT_EQ("kept", boost::dynamic_pointer_cast<StringMessageNode>(kept)->GetValue());
}

TEST(MessageTest, SerializeReplacesWhatTheBufferHeld) {
  Buffer buffer(4, 200);
  buffer.Append("garbage", 7);
  Message message(0x05FF);
  message.SetNode(1, boost::make_shared<BoolMessageNode>(false));
  message.Serialize(buffer);
  EXPECT_EQ("05 FF 01 C0", Hex(buffer));
}

}  // namespace

#include "quorlan/MessageDump.h"

#include <gtest/gtest.h>

#include <boost/make_shared.hpp>
#include <sstream>

#include "quorlan/BoolMessageNode.h"
#include "quorlan/ByteArrayMessageNode.h"
#include "quorlan/IntegerMessageNode.h"
#include "quorlan/ListMessageNode.h"
#include "quorlan/Message.h"
#include "quorlan/NullMessageNode.h"
#include "quorlan/StringMessageNode.h"
#include "quorlan/StructMessageNode.h"
#include "quorlan/TestHelpers.h"

namespace {

using quorlan::Message;
using quorlan::MessageDump;
using quorlantest::Bytes;

std::string DumpOf(const quorlan::AMessageNode& node) {
  std::ostringstream text;
  text << node;
  return text.str();
}

TEST(MessageDumpTest, ExampleMessageLines) {
  Message message;
  message.Parse(Bytes({0x04, 0x04, 0x01, 0xC2, 0x07, 0x02, 0x40, 0x02, 0x48, 0x69}));
  EXPECT_EQ(
      "Message 1028 with 2 MessageNode(s):\n"
      "    [1] Integer: 7 (Sat Jan  1 00:00:07 2000)\n"
      "    [2] String: Hi\n",
      DumpOf(message));
}

TEST(MessageDumpTest, NestedContainersIndentTheirChildren) {
  Message message;
  message.Parse(Bytes({0x05, 0x01, 0x01, 0xC4, 0x13, 0x88, 0x02, 0xC3, 0x01, 0x03, 0x12,
                       0x01, 0xC1, 0x02, 0xC6, 0x00, 0x01, 0x11, 0x70, 0x05, 0x22, 0x00,
                       0x80, 0x02, 0xAB, 0xCD, 0x06, 0x21, 0x11, 0x01, 0xC0, 0x07, 0x10}));
  EXPECT_EQ(
      "Message 1281 with 6 MessageNode(s):\n"
      "    [1] Integer: 5000 (Sat Jan  1 01:23:20 2000)\n"
      "    [2] Integer: -1 (Fri Dec 31 23:59:59 1999)\n"
      "    [3] Struct with 2 MessageNode(s):\n"
      "        [1] Boolean: true\n"
      "        [2] Integer: 70000 (Sat Jan  1 19:26:40 2000)\n"
      "    [5] List with 2 MessageNode(s):\n"
      "        [0] NULL\n"
      "        [1] ByteArray: ab:cd\n"
      "    [6] List with 1 MessageNode(s):\n"
      "        [0] Struct with 1 MessageNode(s):\n"
      "            [1] Boolean: false\n"
      "    [7] Struct with 0 MessageNode(s):\n",
      DumpOf(message));

  // A single node, by a second Dump on the same object starting at 0 again.
  std::ostringstream twice;
  MessageDump dump(twice);
  dump.Dump(message);
  twice.str("");
  dump.Dump(*message.GetNode(3));
  EXPECT_EQ(
      "Struct with 2 MessageNode(s):\n"
      "    [1] Boolean: true\n"
      "    [2] Integer: 70000 (Sat Jan  1 19:26:40 2000)\n",
      twice.str());
}

TEST(MessageDumpTest, IntegersAreShownAsSecondsOrMillisecondsSince2000) {
  EXPECT_EQ("Sat Jan  1 00:00:00 2000", MessageDump::TimeText(0));
  // The last value read as seconds, and the first read as milliseconds.
  EXPECT_EQ("Mon Nov 20 17:46:40 2316", MessageDump::TimeText(10000000000LL));
  EXPECT_EQ("Tue Apr 25 17:46:40 2000", MessageDump::TimeText(10000000001LL));
  EXPECT_EQ("Sat Jul  4 05:20:00 2009", MessageDump::TimeText(300000000000LL));
  // Negative values are seconds before 2000.
  EXPECT_EQ("Thu Jan  1 00:00:00 1970", MessageDump::TimeText(-946684800LL));
  // Extremes don't overflow; years without a four-digit form say so.
  EXPECT_EQ("time out of range", MessageDump::TimeText(INT64_MIN));
  EXPECT_EQ("time out of range", MessageDump::TimeText(INT64_MAX));
  EXPECT_EQ("Integer: -9223372036854775808 (time out of range)\n",
            DumpOf(quorlan::IntegerMessageNode(INT64_MIN)));
}

}  // namespace

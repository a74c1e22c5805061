#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Velarnctl.h"
#include "support/TempDir.h"

namespace {

using namespace std::chrono_literals;

using clitest::Result;
using clitest::Velarnctl;

std::string Encoded(const std::string& json) {
  const Result result = Velarnctl({"msg", "encode", json});
  EXPECT_EQ(0, result.status) << result.output;
  return result.output;
}

const char kHiDump[] =
    "Message 1028 with 2 MessageNode(s):\n"
    "    [1] Integer: 7 (Sat Jan  1 00:00:07 2000)\n"
    "    [2] String: Hi\n";

TEST(MsgCommandTest, DumpShowsTheTreeAndTheTypedFields) {
  const Result hi = Velarnctl({"msg", "dump", "04 04 01 C2 07", "02:40:02:48:69"});
  EXPECT_EQ(0, hi.status);
  EXPECT_EQ(std::string(kHiDump) + "\nNewTextMessageInMsg:\n  messageId: 7\n  text: \"Hi\"\n", hi.output);

  // Raw bytes on standard input, or hex text with --hex.
  EXPECT_EQ(hi.output,
            Velarnctl({"msg", "dump"}, std::string("\x04\x04\x01\xC2\x07\x02\x40\x02\x48\x69", 10)).output);
  EXPECT_EQ(hi.output, Velarnctl({"msg", "dump", "--hex"}, "040401c207\n0240024869\n").output);

  const Result order = Velarnctl(
      {"msg", "dump",
       Encoded(R"({"id": "NewOrderInMsg", "nodes": {"1": 1001, "2": "A1", "3": 1, "4": "Go \"now\"", "5": 1,
                   "6": {"1": 48137000, "2": -11575000, "3": "Marienplatz"}, "7": true, "8": 790000000,
                   "9": [{"1": "office", "2": "+49 89 1"}, {"2": "112"}]}})")});
  EXPECT_EQ(0, order.status) << order.output;
  const std::string fields = order.output.substr(order.output.find("\nNewOrderInMsg:\n") + 1);
  EXPECT_EQ(
      "NewOrderInMsg:\n"
      "  orderId: 1001\n"
      "  number: \"A1\"\n"
      "  orderType: 1\n"
      "  text: \"Go \\\"now\\\"\"\n"
      "  allowedActiveStates: 1\n"
      "  destination:\n"
      "    latitude: 48137000\n"
      "    longitude: -11575000\n"
      "    description: \"Marienplatz\"\n"
      "  acceptanceRequired: true\n"
      "  plannedArrival: 790000000 (Sun Jan 12 12:26:40 2025)\n"
      "  telephoneNumbers: 2 entries\n"
      "    [0] name: \"office\", number: \"+49 89 1\"\n"
      "    [1] name: absent, number: \"112\"\n",
      fields);

  const Result update = Velarnctl(
      {"msg", "dump", Encoded(R"({"id": "UpdateOrderInMsg", "nodes": {"1": 7, "6": null, "9": []}})")});
  EXPECT_NE(std::string::npos,
            update.output.find("  text: absent\n  destination: null\n  plannedArrival: absent\n"
                               "  telephoneNumbers: 0 entries\n"))
      << update.output;

  // An outgoing message has no typed view: the tree alone.
  const Result event = Velarnctl({"msg", "dump", "0501 01 C2 01"});
  EXPECT_EQ(0, event.status);
  EXPECT_EQ("Message 1281 with 1 MessageNode(s):\n    [1] Integer: 1 (Sat Jan  1 00:00:01 2000)\n",
            event.output);
}

TEST(MsgCommandTest, EncodeWritesTheWorkedExamples) {
  const std::pair<const char*, const char*> examples[] = {
      {R"({"id": 1028, "nodes": {"1": 7, "2": "Hi"}})", "040401c2070240024869\n"},
      {R"({"id": "0x0501", "nodes": {"5": [null, {"bytes": "AB:CD"}], "3": {"2": 70000, "1": true},
           "2": -1, "1": 5000}})",
       "050101c4138802c301031201c102c6000111700522008002abcd\n"},
      {R"({"id": "NewOrderInMsg", "nodes": {"1": 1001, "2": "A1", "3": 1, "4": "Go", "5": 1, "7": false}})",
       "040101c403e9024002413103c201044002476f05c20107c0\n"},
      {R"({"id": "TextMessageWorkflowEventOutMsg", "nodes": {"1": 300000000000, "2": 0, "0x8D": 1000, "142": 102}})",
       "050801c800000045d964b80002c2008dc403e88ec266\n"},
      {R"({"id": "ResetInMsg"})", "0406\n"},
      {R"({"id": 65535, "nodes": {"1": {"bytes": ""}, "0": {}}})", "ffff0010018000\n"},
  };
  for (const auto& [json, hex] : examples) {
    EXPECT_EQ(hex, Encoded(json)) << json;
  }

  // From a file, from standard input, and as raw bytes to a file or stdout.
  testsupport::TempDir dir;
  testsupport::WriteFile(dir.File("hi.json"), R"({"id": 1028, "nodes": {"1": 7, "2": "Hi"}})");
  EXPECT_EQ("040401c2070240024869\n", Velarnctl({"msg", "encode", dir.File("hi.json")}).output);
  EXPECT_EQ("040401c2070240024869\n",
            Velarnctl({"msg", "encode"}, R"({"id": 1028, "nodes": {"1": 7, "2": "Hi"}})").output);
  const Result toFile = Velarnctl({"msg", "encode", dir.File("hi.json"), "-o", dir.File("hi.bin")});
  EXPECT_EQ(0, toFile.status);
  EXPECT_EQ("", toFile.output);
  const std::string raw("\x04\x04\x01\xC2\x07\x02\x40\x02\x48\x69", 10);
  EXPECT_EQ(raw, testsupport::ReadFile(dir.File("hi.bin")));
  EXPECT_EQ(
      raw, Velarnctl({"msg", "encode", "--output", "-", "-"}, R"({"id": 1028, "nodes": {"1": 7, "2": "Hi"}})")
               .output);
}

TEST(MsgCommandTest, JsonDumpReadsBackIntoTheSameBytes) {
  const std::string hex = "050101c4138802c301031201c102c6000111700522008002abcd0640014c";
  const Result json = Velarnctl({"msg", "dump", "--json", hex});
  EXPECT_EQ(0, json.status);
  EXPECT_EQ(0u, json.output.find("{\n  \"id\": \"StatusEventOutMsg\",\n  \"nodes\": {\n    \"1\": 5000,"))
      << json.output;
  EXPECT_NE(std::string::npos, json.output.find("\"bytes\": \"abcd\"")) << json.output;
  EXPECT_EQ(hex + "\n", Velarnctl({"msg", "encode"}, json.output).output);

  const Result unnamed = Velarnctl({"msg", "dump", "--json", "0407"});
  EXPECT_NE(std::string::npos, unnamed.output.find("\"id\": \"0x0407\"")) << unnamed.output;
}

}  // namespace

#include <sys/wait.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/Process.h"
#include "support/TempDir.h"

namespace {

using namespace std::chrono_literals;

struct Result {
  int status = -1;
  std::string output;  // standard output and error together
};

// Runs velarnctl with the arguments, feeding input to its standard input.
Result Velarnctl(const std::vector<std::string>& args, const std::string& input = "") {
  std::vector<std::string> argv = {VELARNCTL_BINARY};
  argv.insert(argv.end(), args.begin(), args.end());
  testsupport::ChildProcess::Options options;
  options.captureInput = true;
  testsupport::ChildProcess child(argv, options);
  child.WriteInput(input);
  child.CloseInput();
  Result result;
  int status = 0;
  EXPECT_TRUE(child.Wait(20s, status)) << "velarnctl didn't end";
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  result.output = child.Output();
  return result;
}

std::string Encoded(const std::string& json) {
  const Result result = Velarnctl({"msg", "encode", json});
  EXPECT_EQ(0, result.status) << result.output;
  return result.output;
}

// The failure line of a command that must fail with status 1.
std::string Failure(const std::vector<std::string>& args, const std::string& input = "") {
  const Result result = Velarnctl(args, input);
  EXPECT_EQ(1, result.status) << result.output;
  return result.output;
}

const char kHiDump[] =
    "Message 1028 with 2 MessageNode(s):\n"
    "    [1] Integer: 7 (Sat Jan  1 00:00:07 2000)\n"
    "    [2] String: Hi\n";

TEST(MsgCommandTest, HelpAtEveryLevelAndUsageErrors) {
  EXPECT_NE(std::string::npos, Velarnctl({"--help"}).output.find("msg"));
  for (const std::vector<std::string>& args :
       std::vector<std::vector<std::string>>{{"msg", "--help"}, {"msg", "help"}}) {
    const Result help = Velarnctl(args);
    EXPECT_EQ(0, help.status);
    EXPECT_NE(std::string::npos, help.output.find("usage: velarnctl msg dump")) << help.output;
    EXPECT_NE(std::string::npos, help.output.find("docs/server-messages.md")) << help.output;
  }
  const Result dumpHelp = Velarnctl({"msg", "dump", "--help"});
  EXPECT_EQ(0, dumpHelp.status);
  EXPECT_NE(std::string::npos, dumpHelp.output.find("--hex")) << dumpHelp.output;
  const Result encodeHelp = Velarnctl({"msg", "encode", "-h"});
  EXPECT_EQ(0, encodeHelp.status);
  EXPECT_NE(std::string::npos, encodeHelp.output.find("--output")) << encodeHelp.output;

  EXPECT_EQ(2, Velarnctl({"msg"}).status);
  const Result unknown = Velarnctl({"msg", "show"});
  EXPECT_EQ(2, unknown.status);
  EXPECT_NE(std::string::npos, unknown.output.find("unknown command \"show\"")) << unknown.output;
  EXPECT_EQ(2, Velarnctl({"msg", "dump", "--verbose", "0404"}).status);
  EXPECT_EQ(2, Velarnctl({"msg", "dump", "--hex", "0404"}).status);
  EXPECT_EQ(2, Velarnctl({"msg", "encode", "-o"}).status);
  EXPECT_EQ(2, Velarnctl({"msg", "encode", "a.json", "b.json"}).status);
}

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

TEST(MsgCommandTest, DumpFailuresPrintTheParserText) {
  EXPECT_NE(std::string::npos, Failure({"msg", "dump", "04"}).find("msg dump: idx is out of range\n"));
  EXPECT_NE(std::string::npos, Failure({"msg", "dump"}, "").find("msg dump: idx is out of range\n"));
  EXPECT_NE(std::string::npos,
            Failure({"msg", "dump", "0404 01 40 05 41"}).find(": message has invalid length\n"));
  EXPECT_NE(std::string::npos,
            Failure({"msg", "dump", "0404 01 zz"}).find("invalid hex: unexpected character 'z'"));
  EXPECT_NE(std::string::npos, Failure({"msg", "dump", "040"}).find("invalid hex: odd number of digits"));

  // A tree that parses but breaks a rule of its class: the tree, then the text.
  const std::string missing = Failure({"msg", "dump", "0401 01 C2 01"});
  EXPECT_EQ(0u, missing.find("Message 1025 with 1 MessageNode(s):\n")) << missing;
  EXPECT_NE(std::string::npos, missing.find("msg dump: NewOrderInMsg: missing node 2\n")) << missing;
  EXPECT_NE(std::string::npos,
            Failure({"msg", "dump", "0405 03 C2 01"}).find(": node 3 has unexpected type\n"));
}

TEST(MsgCommandTest, EncodeWritesTheWorkedExamples) {
  EXPECT_EQ("040401c2070240024869\n", Encoded(R"({"id": 1028, "nodes": {"1": 7, "2": "Hi"}})"));
  EXPECT_EQ(
      "050101c4138802c301031201c102c6000111700522008002abcd\n",
      Encoded(R"({"id": "0x0501", "nodes": {"5": [null, {"bytes": "AB:CD"}], "3": {"2": 70000, "1": true},
                        "2": -1, "1": 5000}})"));
  EXPECT_EQ("040101c403e9024002413103c201044002476f05c20107c0\n",
            Encoded(R"({"id": "NewOrderInMsg", "nodes": {"1": 1001, "2": "A1", "3": 1, "4": "Go", "5": 1,
                        "7": false}})"));
  EXPECT_EQ("050801c800000045d964b80002c2008dc403e88ec266\n",
            Encoded(R"({"id": "TextMessageWorkflowEventOutMsg",
                        "nodes": {"1": 300000000000, "2": 0, "0x8D": 1000, "142": 102}})"));
  EXPECT_EQ("0406\n", Encoded(R"({"id": "ResetInMsg"})"));
  EXPECT_EQ("ffff0010018000\n", Encoded(R"({"id": 65535, "nodes": {"1": {"bytes": ""}, "0": {}}})"));

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
  EXPECT_NE(std::string::npos, Failure({"msg", "encode", dir.File("missing.json")}).find("can't read"));
  EXPECT_NE(
      std::string::npos,
      Failure({"msg", "encode", dir.File("hi.json"), "-o", dir.File("no/such/dir")}).find("can't write"));
}

TEST(MsgCommandTest, EncodeRejectsBadDescriptionsWithTheirPlace) {
  const auto error = [](const std::string& json) { return Failure({"msg", "encode", json}); };
  EXPECT_NE(std::string::npos, error("{\"id\": 1,").find("invalid JSON"));
  EXPECT_NE(std::string::npos, error(R"({"nodes": {}})").find("description: missing \"id\""));
  EXPECT_NE(std::string::npos, error(R"({"id": 1, "node": {}})").find("unknown member \"node\""));
  EXPECT_NE(std::string::npos, error(R"({"id": 65536})").find("id: expected 0 to 65535"));
  EXPECT_NE(std::string::npos, error(R"({"id": 1, "nodes": []})").find("nodes: expected an object"));
  EXPECT_NE(std::string::npos, error(R"({"id": 1, "nodes": {"256": 1}})").find("nodes: invalid key \"256\""));
  EXPECT_NE(std::string::npos,
            error(R"({"id": 1, "nodes": {"1": 1, "0x01": 2}})").find("nodes: duplicate key 1"));
  EXPECT_NE(std::string::npos,
            error(R"({"id": 1, "nodes": {"6": {"1": 1.5}}})").find("nodes/6/1: not an integer"));
  EXPECT_NE(std::string::npos, error(R"({"id": 1, "nodes": {"9": [1, 9223372036854775808]}})")
                                   .find("nodes/9/1: integer out of range"));
  EXPECT_NE(
      std::string::npos,
      error(R"({"id": 1, "nodes": {"5": {"bytes": "abc"}}})").find("nodes/5/bytes: invalid hex: odd number"));

  // Writing limits are the tree's own, with its texts.
  EXPECT_NE(std::string::npos, error(R"({"id": 1, "nodes": {"1": ")" + std::string(16384, 's') + "\"}}")
                                   .find("msg encode: to long string\n"));
  EXPECT_EQ(0,
            Velarnctl({"msg", "encode", R"({"id": 1, "nodes": {"1": ")" + std::string(16383, 's') + "\"}}"})
                .status);

  // Nesting stops where parsing would refuse it.
  std::string deep = "null";
  for (int i = 0; i < 32; ++i) {
    deep = "[" + deep + "]";
  }
  EXPECT_EQ(0, Velarnctl({"msg", "encode", R"({"id": 1, "nodes": {"1": )" + deep + "}}"}).status);
  EXPECT_NE(std::string::npos,
            error(R"({"id": 1, "nodes": {"1": [)" + deep + "]}}").find("nests deeper than 32 containers"));
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

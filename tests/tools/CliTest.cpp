// Help, usage errors and failures of every velarnctl command: the exit status
// (0 help, 1 failure, 2 usage) and the text that tells the operator why.
#include <gtest/gtest.h>

#include "Velarnctl.h"
#include "support/TempDir.h"

namespace {

using clitest::Velarnctl;

struct Case {
  std::vector<std::string> args;
  int status;
  std::string text;  // found in the output
  std::string input = "";
};

void Check(const std::vector<Case>& cases) {
  for (const Case& c : cases) {
    const clitest::Result result = Velarnctl(c.args, c.input);
    std::string shown;
    for (const std::string& arg : c.args) {
      shown += arg.substr(0, 40) + " ";
    }
    EXPECT_EQ(c.status, result.status) << shown << "\n" << result.output;
    EXPECT_NE(std::string::npos, result.output.find(c.text)) << shown << "\n" << result.output;
  }
}

TEST(CliTest, HelpAndUsageErrors) {
  Check({
      {{"--help"}, 0, "usage: velarnctl COMMAND"},
      {{"--help"}, 0, "  msg "},
      {{"nonsense"}, 2, "unknown command \"nonsense\""},
      {{}, 2, "usage: velarnctl COMMAND"},
      {{"msg", "--help"}, 0, "usage: velarnctl msg dump"},
      {{"msg", "help"}, 0, "docs/server-messages.md"},
      {{"msg", "dump", "--help"}, 0, "--hex"},
      {{"msg", "encode", "-h"}, 0, "--output"},
      {{"msg"}, 2, "usage: velarnctl msg"},
      {{"msg", "show"}, 2, "unknown command \"show\""},
      {{"msg", "dump", "--verbose", "0404"}, 2, "velarnctl msg dump: "},
      {{"msg", "dump", "--hex", "0404"}, 2, "velarnctl msg dump: "},
      {{"msg", "encode", "-o"}, 2, "velarnctl msg encode: "},
      {{"msg", "encode", "a.json", "b.json"}, 2, "velarnctl msg encode: "},
      {{"db", "--help"}, 0, "usage: velarnctl db dump FILE"},
      {{"db", "dump", "--help"}, 0, "--json"},
      {{"db", "init", "-h"}, 0, "--force"},
      {{"db", "dump"}, 2, "FILE missing"},
      {{"db", "dump", "a", "--xml"}, 2, "unknown option --xml"},
      {{"db", "frobnicate"}, 2, "usage: velarnctl db"},
      {{"db"}, 2, "usage: velarnctl db"},
      {{"nav"}, 2, "velarnctl nav: "},
      {{"nav", "a", "b"}, 2, "velarnctl nav: "},
      {{"nav", "a", "--bogus"}, 2, "velarnctl nav: "},
      {{"nav", "a", "-k", "-1"}, 2, "velarnctl nav: "},
      {{"nav", "a", "-w"}, 2, "velarnctl nav: "},
      {{"nav", "--help"}, 0, "wait REGEX [SECONDS]"},
      {{"unit", "--local", "127.0.0.1:0"}, 2, "velarnctl unit: "},
      {{"unit", "--local", "127.0.0.1:0", "--peer", "127.0.0.1:9", "--loss", "101"}, 2, "velarnctl unit: "},
  });
}

TEST(CliTest, FailuresNameTheirCause) {
  testsupport::TempDir dir;
  testsupport::WriteFile(dir.File("hi.json"), R"({"id": 1028, "nodes": {"1": 7, "2": "Hi"}})");
  testsupport::WriteFile(dir.File("damaged"), std::string(300, 'x'));
  std::string deep = "null";
  for (int i = 0; i < 33; ++i) {
    deep = "[" + deep + "]";
  }
  const auto encode = [](const std::string& json) { return std::vector<std::string>{"msg", "encode", json}; };
  Check({
      {{"msg", "dump", "04"}, 1, "msg dump: idx is out of range\n"},
      {{"msg", "dump"}, 1, "msg dump: idx is out of range\n"},
      {{"msg", "dump", "0404 01 40 05 41"}, 1, ": message has invalid length\n"},
      {{"msg", "dump", "0404 01 zz"}, 1, "invalid hex: unexpected character 'z'"},
      {{"msg", "dump", "040"}, 1, "invalid hex: odd number of digits"},
      // A tree that parses but breaks a rule of its class: the tree, then why.
      {{"msg", "dump", "0401 01 C2 01"}, 1, "Message 1025 with 1 MessageNode(s):\n"},
      {{"msg", "dump", "0401 01 C2 01"}, 1, "msg dump: NewOrderInMsg: missing node 2\n"},
      {{"msg", "dump", "0405 03 C2 01"}, 1, ": node 3 has unexpected type\n"},
      {{"msg", "encode", dir.File("missing.json")}, 1, "can't read"},
      {{"msg", "encode", dir.File("hi.json"), "-o", dir.File("no/such/dir")}, 1, "can't write"},
      {encode("{\"id\": 1,"), 1, "invalid JSON"},
      {encode(R"({"nodes": {}})"), 1, "description: missing \"id\""},
      {encode(R"({"id": 1, "node": {}})"), 1, "unknown member \"node\""},
      {encode(R"({"id": 65536})"), 1, "id: expected 0 to 65535"},
      {encode(R"({"id": 1, "nodes": []})"), 1, "nodes: expected an object"},
      {encode(R"({"id": 1, "nodes": {"256": 1}})"), 1, "nodes: invalid key \"256\""},
      {encode(R"({"id": 1, "nodes": {"1": 1, "0x01": 2}})"), 1, "nodes: duplicate key 1"},
      {encode(R"({"id": 1, "nodes": {"6": {"1": 1.5}}})"), 1, "nodes/6/1: not an integer"},
      {encode(R"({"id": 1, "nodes": {"9": [1, 9223372036854775808]}})"), 1,
       "nodes/9/1: integer out of range"},
      {encode(R"({"id": 1, "nodes": {"5": {"bytes": "abc"}}})"), 1, "nodes/5/bytes: invalid hex: odd number"},
      // Writing limits are the tree's own, with its texts; nesting stops
      // where parsing would refuse it.
      {encode(R"({"id": 1, "nodes": {"1": ")" + std::string(16384, 's') + "\"}}"), 1,
       "msg encode: to long string\n"},
      {encode(R"({"id": 1, "nodes": {"1": ")" + std::string(16383, 's') + "\"}}"), 0, "0001"},
      {encode(R"({"id": 1, "nodes": {"1": )" + deep.substr(1, deep.size() - 2) + "}}"), 0, "0001"},
      {encode(R"({"id": 1, "nodes": {"1": )" + deep + "}}"), 1, "nests deeper than 32 containers"},
      {{"db", "dump", dir.File("missing")}, 1, "could not open " + dir.File("missing")},
      {{"db", "dump", dir.File("damaged")}, 1, "damaged database file"},
      {{"db", "init", dir.File("no/folder/db")}, 1, "could not create"},
  });
}

}  // namespace

#include <sys/stat.h>
#include <sys/wait.h>

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "data/Database.h"
#include "data/DatabaseFile.h"
#include "data/SampleDatabase.h"
#include "support/Process.h"
#include "support/TempDir.h"

namespace {

using namespace std::chrono_literals;

// Runs velarnctl with args; returns the exit status, the output in output.
int Velarnctl(const std::vector<std::string>& args, std::string& output) {
  std::vector<std::string> argv = {VELARNCTL_BINARY};
  argv.insert(argv.end(), args.begin(), args.end());
  const testsupport::RunResult result = testsupport::Run(argv, 20s);
  output = result.output;
  return result.finished ? WEXITSTATUS(result.status) : -1;
}

bool Contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

TEST(DbCommandTest, InitWritesANewDatabaseAndKeepsAnExistingFile) {
  testsupport::TempDir folder;
  const std::string path = folder.File("velarnd.db");
  std::string output;
  ASSERT_EQ(0, Velarnctl({"db", "init", path}, output)) << output;
  EXPECT_EQ(data::EncodeDatabase(data::Database(path)), testsupport::ReadFile(path));
  struct stat status {};
  ASSERT_EQ(0, stat(path.c_str(), &status));
  EXPECT_EQ(0666u, status.st_mode & 0777u);

  data::Database full = testdata::FullDatabase(path);
  ASSERT_TRUE(full.Save());
  EXPECT_EQ(1, Velarnctl({"db", "init", path}, output));
  EXPECT_TRUE(Contains(output, "exists")) << output;
  EXPECT_TRUE(data::EncodeDatabase(full) == testsupport::ReadFile(path)) << "init replaced the file";
  EXPECT_EQ(0, Velarnctl({"db", "init", "--force", path}, output)) << output;
  EXPECT_EQ(244u, testsupport::ReadFile(path).size());
  EXPECT_EQ(1, Velarnctl({"db", "init", folder.File("no/folder/db")}, output));
  EXPECT_TRUE(Contains(output, "could not create")) << output;
}

TEST(DbCommandTest, DumpShowsEveryRecord) {
  testsupport::TempDir folder;
  const std::string path = folder.File("velarnd.db");
  data::Database full = testdata::FullDatabase(path);
  full.orders.at(1001).text = "two\nlines \"quoted\"";
  ASSERT_TRUE(full.Save());

  std::string text;
  ASSERT_EQ(0, Velarnctl({"db", "dump", path}, text));
  for (const char* expected :
       {"orders (100)", "9 (active)", "\"A-17\"", "48.000017, -11.000017", "\"+49 170 3\"",
        " \"two\\x0alines \\\"quoted\\\"\"\n", "message 5100", "110 \"order status 10\"", "2 (in a pause)",
        "2023-11-14 22:16:40 UTC (1700000200)", "1800 s", "2023-11-14 22:13:20.123 UTC (1700000000123)",
        "-33.868000, 151.209000", "4 (third)", "\"SN-0001\""}) {
    EXPECT_TRUE(Contains(text, expected)) << expected;
  }

  std::string json;
  ASSERT_EQ(0, Velarnctl({"db", "dump", path, "--json"}, json));
  const nlohmann::json parsed = nlohmann::json::parse(json);
  ASSERT_EQ(100u, parsed["orders"].size());
  EXPECT_EQ("two\nlines \"quoted\"", parsed["orders"][0]["text"]);
  EXPECT_EQ("+49 89 1", parsed["orders"][0]["telephoneBook"][0]["number"]);
  EXPECT_EQ(9, parsed["orders"][49]["state"]);
  EXPECT_EQ(true, parsed["textMessages"][1]["read"]);
  EXPECT_EQ(1700000200u, parsed["workingTime"]["startOfLastPause"]);
  EXPECT_EQ(201u, parsed["sortKeys"]);
  EXPECT_EQ(77u, parsed["config"]["newSessionBoundary"]);
  EXPECT_EQ(1700000000123ull, parsed["velarn"]["linkLostAt"]);
  EXPECT_EQ(-33868000, parsed["zu"]["gps"]["position"]["latitude"]);
  EXPECT_EQ("5.2.1", parsed["zu"]["NCVersion"]);
}

TEST(DbCommandTest, DumpOfADamagedFileShowsWhatCameBeforeAndWhereItStopped) {
  testsupport::TempDir folder;
  const std::string path = folder.File("velarnd.db.damaged");
  const std::string full = data::EncodeDatabase(testdata::FullDatabase());
  const std::size_t text = full.find(std::string(500, 'D'));  // of the third text message
  testsupport::WriteFile(path, full.substr(0, text + 10));
  const std::string stop = "damaged database file: stopped at byte offset " + std::to_string(text - 4) +
                           " in the text messages: string of 500 bytes";
  std::string output;
  EXPECT_EQ(1, Velarnctl({"db", "dump", path}, output));
  for (const std::string& expected : {std::string("orders (100)"), std::string("text messages (2)"), stop}) {
    EXPECT_TRUE(Contains(output, expected)) << expected;
  }
  EXPECT_LT(output.find("message 5002"), output.find(stop));
  EXPECT_FALSE(Contains(output, "statuses")) << output;

  EXPECT_EQ(1, Velarnctl({"db", "dump", path, "--json"}, output));
  const nlohmann::json parsed = nlohmann::json::parse(output.substr(0, output.find("velarnctl db:")));
  EXPECT_EQ(100u, parsed["orders"].size());
  EXPECT_EQ(2u, parsed["textMessages"].size());
  EXPECT_FALSE(parsed.contains("statuses"));
  EXPECT_EQ(text - 4, parsed["damage"]["offset"]);

  testsupport::WriteFile(path, full + "xyz");
  EXPECT_EQ(0, Velarnctl({"db", "dump", path}, output));
  EXPECT_TRUE(Contains(output, "repaired: 3 bytes after the end of the database at byte offset " +
                                   std::to_string(full.size()) + " ignored"))
      << output;
}

TEST(DbCommandTest, ErrorsAndHelp) {
  testsupport::TempDir folder;
  std::string output;
  EXPECT_EQ(1, Velarnctl({"db", "dump", folder.File("missing")}, output));
  EXPECT_TRUE(Contains(output, "could not open " + folder.File("missing"))) << output;
  testsupport::WriteFile(folder.File("damaged"), std::string(300, 'x'));
  EXPECT_EQ(1, Velarnctl({"db", "dump", folder.File("damaged")}, output));
  EXPECT_TRUE(Contains(output, "damaged database file")) << output;

  EXPECT_EQ(2, Velarnctl({"db", "dump"}, output));
  EXPECT_TRUE(Contains(output, "FILE missing")) << output;
  EXPECT_EQ(2, Velarnctl({"db", "dump", "a", "--xml"}, output));
  EXPECT_TRUE(Contains(output, "unknown option --xml")) << output;
  EXPECT_EQ(2, Velarnctl({"db", "frobnicate"}, output));
  EXPECT_EQ(2, Velarnctl({"db"}, output));

  EXPECT_EQ(0, Velarnctl({"db", "--help"}, output));
  EXPECT_TRUE(Contains(output, "usage: velarnctl db dump FILE")) << output;
  EXPECT_EQ(0, Velarnctl({"db", "dump", "--help"}, output));
  EXPECT_TRUE(Contains(output, "--json")) << output;
  EXPECT_EQ(0, Velarnctl({"db", "init", "-h"}, output));
  EXPECT_TRUE(Contains(output, "--force")) << output;
}

}  // namespace

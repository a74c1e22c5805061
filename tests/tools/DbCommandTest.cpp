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

testsupport::RunResult Velarnctl(const std::vector<std::string>& args) {
  std::vector<std::string> argv = {VELARNCTL_BINARY};
  argv.insert(argv.end(), args.begin(), args.end());
  return testsupport::Run(argv, 20s);
}

bool Contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

TEST(DbCommandTest, InitWritesANewDatabaseAndKeepsAnExistingFile) {
  testsupport::TempDir folder;
  const std::string path = folder.File("velarnd.db");
  testsupport::RunResult result = Velarnctl({"db", "init", path});
  ASSERT_TRUE(result.finished);
  EXPECT_EQ(0, WEXITSTATUS(result.status)) << result.output;
  EXPECT_EQ(data::EncodeDatabase(data::Database(path)), testsupport::ReadFile(path));
  struct stat status {};
  ASSERT_EQ(0, stat(path.c_str(), &status));
  EXPECT_EQ(0666u, status.st_mode & 0777u);

  data::Database full = testdata::FullDatabase(path);
  ASSERT_TRUE(full.Save());
  result = Velarnctl({"db", "init", path});
  EXPECT_EQ(1, WEXITSTATUS(result.status));
  EXPECT_TRUE(Contains(result.output, "exists")) << result.output;
  EXPECT_EQ(data::EncodeDatabase(full), testsupport::ReadFile(path));
  result = Velarnctl({"db", "init", "--force", path});
  EXPECT_EQ(0, WEXITSTATUS(result.status)) << result.output;
  EXPECT_EQ(244u, testsupport::ReadFile(path).size());

  result = Velarnctl({"db", "init", folder.File("no/such/folder/db")});
  EXPECT_EQ(1, WEXITSTATUS(result.status));
  EXPECT_TRUE(Contains(result.output, "could not create")) << result.output;
}

TEST(DbCommandTest, DumpShowsEveryRecord) {
  testsupport::TempDir folder;
  const std::string path = folder.File("velarnd.db");
  data::Database full = testdata::FullDatabase(path);
  full.orders.at(1001).text = "two\nlines \"quoted\"";
  ASSERT_TRUE(full.Save());

  const testsupport::RunResult text = Velarnctl({"db", "dump", path});
  ASSERT_TRUE(text.finished);
  EXPECT_EQ(0, WEXITSTATUS(text.status));
  for (const char* expected : {"orders (100)",
                               "order 1050",
                               "9 (active)",
                               "\"A-17\"",
                               "48.000017, -11.000017",
                               "\"+49 170 3\"",
                               " \"two\\x0alines \\\"quoted\\\"\"\n",
                               "text messages (100)",
                               "message 5100",
                               "order statuses (10)",
                               "110 \"order status 10\"",
                               "2 (in a pause)",
                               "2023-11-14 22:16:40 UTC (1700000200)",
                               "report interval roaming:  1800 s",
                               "2023-11-14 22:13:20.123 UTC (1700000000123)",
                               "52.520000, 13.405000",
                               "-33.868000, 151.209000",
                               "4 (third)",
                               "\"SN-0001\"",
                               "last key:                 201"}) {
    EXPECT_TRUE(Contains(text.output, expected)) << expected;
  }

  const testsupport::RunResult json = Velarnctl({"db", "dump", path, "--json"});
  EXPECT_EQ(0, WEXITSTATUS(json.status));
  const nlohmann::json parsed = nlohmann::json::parse(json.output);
  ASSERT_EQ(100u, parsed["orders"].size());
  EXPECT_EQ(1001, parsed["orders"][0]["id"]);
  EXPECT_EQ("two\nlines \"quoted\"", parsed["orders"][0]["text"]);
  EXPECT_EQ("+49 89 1", parsed["orders"][0]["telephoneBook"][0]["number"]);
  EXPECT_EQ(9, parsed["orders"][49]["state"]);
  EXPECT_EQ(true, parsed["textMessages"][1]["read"]);
  EXPECT_EQ(10u, parsed["statuses"].size());
  EXPECT_EQ(1700000200u, parsed["workingTime"]["startOfLastPause"]);
  EXPECT_EQ(201u, parsed["sortKeys"]);
  EXPECT_EQ(77u, parsed["config"]["newSessionBoundary"]);
  EXPECT_EQ(1700000000123ull, parsed["velarn"]["linkLostAt"]);
  EXPECT_EQ(-33868000, parsed["zu"]["gps"]["position"]["latitude"]);
  EXPECT_EQ(0x0102030405060708ull, parsed["zu"]["reservedTime"]);
  EXPECT_EQ("5.2.1", parsed["zu"]["NCVersion"]);
}

TEST(DbCommandTest, ErrorsAndHelp) {
  testsupport::TempDir folder;
  testsupport::RunResult result = Velarnctl({"db", "dump", folder.File("missing")});
  EXPECT_EQ(1, WEXITSTATUS(result.status));
  EXPECT_TRUE(Contains(result.output, "could not open " + folder.File("missing"))) << result.output;

  testsupport::WriteFile(folder.File("damaged"), std::string(300, 'x'));
  result = Velarnctl({"db", "dump", folder.File("damaged")});
  EXPECT_EQ(1, WEXITSTATUS(result.status));
  EXPECT_TRUE(Contains(result.output, "damaged database file")) << result.output;

  result = Velarnctl({"db", "dump"});
  EXPECT_EQ(2, WEXITSTATUS(result.status));
  EXPECT_TRUE(Contains(result.output, "FILE missing")) << result.output;
  result = Velarnctl({"db", "dump", "a", "--xml"});
  EXPECT_EQ(2, WEXITSTATUS(result.status));
  EXPECT_TRUE(Contains(result.output, "unknown option --xml")) << result.output;
  result = Velarnctl({"db", "frobnicate"});
  EXPECT_EQ(2, WEXITSTATUS(result.status));
  result = Velarnctl({"db"});
  EXPECT_EQ(2, WEXITSTATUS(result.status));

  for (const std::vector<std::string>& help : std::vector<std::vector<std::string>>{
           {"db", "--help"}, {"db", "dump", "--help"}, {"db", "init", "-h"}}) {
    result = Velarnctl(help);
    EXPECT_EQ(0, WEXITSTATUS(result.status));
    EXPECT_TRUE(Contains(result.output, "usage: velarnctl db " + (help[1][0] == '-' ? "dump" : help[1])))
        << result.output;
  }
  result = Velarnctl({"--help"});
  EXPECT_TRUE(Contains(result.output, "db      database files")) << result.output;
}

}  // namespace

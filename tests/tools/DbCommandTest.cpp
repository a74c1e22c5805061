#include <sys/stat.h>

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "Velarnctl.h"
#include "data/Database.h"
#include "data/DatabaseFile.h"
#include "data/SampleDatabase.h"
#include "support/TempDir.h"

namespace {

using clitest::HasAll;
using clitest::Velarnctl;

TEST(DbCommandTest, InitWritesANewDatabaseAndKeepsAnExistingFile) {
  testsupport::TempDir folder;
  const std::string path = folder.File("velarnd.db");
  ASSERT_EQ(0, Velarnctl({"db", "init", path}).status);
  EXPECT_EQ(data::EncodeDatabase(data::Database(path)), testsupport::ReadFile(path));
  struct stat status {};
  ASSERT_EQ(0, stat(path.c_str(), &status));
  EXPECT_EQ(0666u, status.st_mode & 0777u);

  data::Database full = testdata::FullDatabase(path);
  ASSERT_TRUE(full.Save());
  const clitest::Result again = Velarnctl({"db", "init", path});
  EXPECT_EQ(1, again.status);
  EXPECT_TRUE(HasAll(again.output, {"exists"}));
  EXPECT_TRUE(data::EncodeDatabase(full) == testsupport::ReadFile(path)) << "init replaced the file";
  EXPECT_EQ(0, Velarnctl({"db", "init", "--force", path}).status);
  EXPECT_EQ(244u, testsupport::ReadFile(path).size());
}

TEST(DbCommandTest, DumpShowsEveryRecord) {
  testsupport::TempDir folder;
  const std::string path = folder.File("velarnd.db");
  data::Database full = testdata::FullDatabase(path);
  full.orders.at(1001).text = "two\nlines \"quoted\"";
  ASSERT_TRUE(full.Save());

  const clitest::Result text = Velarnctl({"db", "dump", path});
  EXPECT_EQ(0, text.status);
  EXPECT_TRUE(HasAll(
      text.output,
      {"orders (100)", "9 (active)", "\"A-17\"", "48.000017, -11.000017", "\"+49 170 3\"",
       " \"two\\x0alines \\\"quoted\\\"\"\n", "message 5100", "110 \"order status 10\"", "2 (in a pause)",
       "2023-11-14 22:16:40 UTC (1700000200)", "1800 s", "2023-11-14 22:13:20.123 UTC (1700000000123)",
       "-33.868000, 151.209000", "4 (third)", "\"SN-0001\""}));

  const clitest::Result json = Velarnctl({"db", "dump", path, "--json"});
  ASSERT_EQ(0, json.status);
  const nlohmann::json parsed = nlohmann::json::parse(json.output);
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
  const clitest::Result dump = Velarnctl({"db", "dump", path});
  EXPECT_EQ(1, dump.status);
  EXPECT_TRUE(HasAll(dump.output, {"orders (100)", "text messages (2)", stop}));
  EXPECT_LT(dump.output.find("message 5002"), dump.output.find(stop));
  EXPECT_EQ(std::string::npos, dump.output.find("statuses")) << dump.output;

  const clitest::Result json = Velarnctl({"db", "dump", path, "--json"});
  EXPECT_EQ(1, json.status);
  const nlohmann::json parsed =
      nlohmann::json::parse(json.output.substr(0, json.output.find("velarnctl db:")));
  EXPECT_EQ(100u, parsed["orders"].size());
  EXPECT_EQ(2u, parsed["textMessages"].size());
  EXPECT_FALSE(parsed.contains("statuses"));
  EXPECT_EQ(text - 4, parsed["damage"]["offset"]);

  testsupport::WriteFile(path, full + "xyz");
  const clitest::Result repaired = Velarnctl({"db", "dump", path});
  EXPECT_EQ(0, repaired.status);
  EXPECT_TRUE(HasAll(repaired.output, {"repaired: 3 bytes after the end of the database at byte offset " +
                                       std::to_string(full.size()) + " ignored"}));
}

}  // namespace

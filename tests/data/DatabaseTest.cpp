#include "data/Database.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include <deque>
#include <filesystem>
#include <string>
#include <vector>

#include "common/Exceptions.h"
#include "data/DatabaseFile.h"
#include "data/SampleDatabase.h"
#include "support/NoStandardInput.h"
#include "support/TempDir.h"

namespace {

using data::Database;

TEST(DatabaseTest, NewDatabaseAndLoadOfNoFile) {
  testsupport::TempDir folder;
  Database database(folder.File("missing"));
  EXPECT_EQ(2u, database.sortKeys.Next());
  database.orders.insert({1, data::Order(1, "", "")});
  EXPECT_FALSE(database.Load());
  EXPECT_TRUE(database.orders.empty());
  EXPECT_EQ(1u, database.sortKeys.Current());
  EXPECT_EQ(folder.File("missing"), database.path);
  // Loading touched no file.
  EXPECT_FALSE(std::filesystem::exists(folder.File("missing")));

  // Nor is a folder or a named pipe a database.
  Database onFolder(folder.Path());
  EXPECT_FALSE(onFolder.Load());
  ASSERT_EQ(0, mkfifo(folder.File("pipe").c_str(), 0600));
  Database onPipe(folder.File("pipe"));
  EXPECT_FALSE(onPipe.Load());
}

TEST(DatabaseTest, SaveReplacesTheFileAndLeavesNothingBeside) {
  testsupport::TempDir folder;
  const std::string path = folder.File("velarnd.db");
  Database first = testdata::FullDatabase(path);
  {
    // Started without standard input, the file and its folder come as
    // descriptor 0, which is as good as any, and is closed again.
    testsupport::NoStandardInput closed;
    ASSERT_TRUE(first.Save());
    EXPECT_EQ(-1, fcntl(0, F_GETFD));
  }
  const mode_t previous = umask(077);
  Database second(path);
  second.zu.driverId = 99;
  const bool saved = second.Save();
  umask(previous);
  ASSERT_TRUE(saved);

  struct stat status {};
  ASSERT_EQ(0, stat(path.c_str(), &status));
  EXPECT_EQ(0666u, status.st_mode & 0777u);
  std::size_t files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder.Path())) {
    EXPECT_EQ(path, entry.path().string());
    ++files;
  }
  EXPECT_EQ(1u, files);
  Database loaded(path);
  ASSERT_TRUE(loaded.Load());
  EXPECT_TRUE(loaded.orders.empty());
  EXPECT_EQ(99u, loaded.zu.driverId);

  // The unsynchronised variant writes the same bytes.
  data::WriteDatabaseFile(first, path, false);
  EXPECT_TRUE(data::EncodeDatabase(first) == testsupport::ReadFile(path));
}

TEST(DatabaseTest, FailedSaveReturnsFalseAndKeepsTheOldFile) {
  testsupport::TempDir folder;
  Database nowhere(folder.File("no/such/folder/db"));
  EXPECT_FALSE(nowhere.Save());
  EXPECT_THROW(data::WriteDatabaseFile(nowhere, nowhere.path), IOException);

  // A target that can't be replaced: a non-empty folder in its place.
  const std::string path = folder.File("db");
  std::filesystem::create_directories(path + "/inside");
  Database blocked(path);
  EXPECT_FALSE(blocked.Save());
  EXPECT_FALSE(std::filesystem::exists(path + ".tmp"));
  EXPECT_TRUE(std::filesystem::is_directory(path + "/inside"));
}

std::vector<unsigned> Ids(const std::deque<data::InboxEntry*>& entries) {
  std::vector<unsigned> ids;
  for (const data::InboxEntry* entry : entries) {
    ids.push_back(entry->id);
  }
  return ids;
}

TEST(DatabaseTest, InboxNewestFirstWhateverTheKind) {
  Database database("unused");
  const unsigned orders[][3] = {{10, 5, 0}, {11, 2, 1}, {12, 7, 2}, {13, 3, 3}};  // id, key, state
  for (const auto& o : orders) {
    data::Order order(o[0], "", "");
    order.sortKey = o[1];
    order.state = static_cast<data::Order::State>(o[2]);
    database.orders.insert({o[0], order});
  }
  const unsigned messages[][3] = {{1, 3, 0}, {2, 9, 1}, {3, 4, 0}};  // id, key, read
  for (const auto& m : messages) {
    data::TextMessage message(m[0], "");
    message.sortKey = m[1];
    message.read = m[2] != 0;
    database.textMessages.insert({m[0], message});
  }
  std::deque<data::InboxEntry*> entries(3, nullptr);
  database.GetInboxEntries(entries);
  // Equal keys (order 13, message 1) keep orders first.
  EXPECT_EQ((std::vector<unsigned>{2, 12, 10, 3, 13, 1, 11}), Ids(entries));
  EXPECT_EQ(&database.orders.at(12), entries[1]);
  database.GetUnreadInboxEntries(entries);
  EXPECT_EQ((std::vector<unsigned>{10, 3, 1, 11}), Ids(entries));

  database.statuses.insert({30, data::Status(30, "c")});
  database.statuses.insert({10, data::Status(10, "a")});
  database.orderStatuses.insert({5, data::Status(5, "x")});
  std::deque<data::Status*> statuses(1, nullptr);
  database.GetStatuses(statuses);
  ASSERT_EQ(2u, statuses.size());
  EXPECT_EQ("a", statuses[0]->text);
  EXPECT_EQ(&database.statuses.at(30), statuses[1]);
  database.GetOrderStatuses(statuses);
  ASSERT_EQ(1u, statuses.size());
  EXPECT_EQ("x", statuses[0]->text);
}

}  // namespace

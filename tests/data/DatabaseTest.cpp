#include "data/Database.h"

#include <sys/stat.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <deque>
#include <filesystem>
#include <string>

#include "common/Exceptions.h"
#include "data/DatabaseFile.h"
#include "data/SampleDatabase.h"
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
  ASSERT_TRUE(first.Save());
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
  EXPECT_EQ(data::EncodeDatabase(first), testsupport::ReadFile(path));
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

TEST(DatabaseTest, ReadDatabaseFileTellsWhy) {
  testsupport::TempDir folder;
  Database database("unused");
  try {
    data::ReadDatabaseFile(folder.File("missing"), database);
    FAIL() << "no exception";
  } catch (const IOException& error) {
    EXPECT_EQ(ENOENT, error.GetErrorNumber());
    EXPECT_NE(std::string::npos, std::string(error.what()).find("could not open " + folder.File("missing")));
  }
  testsupport::WriteFile(folder.File("short"), "abc");
  try {
    data::ReadDatabaseFile(folder.File("short"), database);
    FAIL() << "no exception";
  } catch (const ParseException& error) {
    EXPECT_EQ(folder.File("short") + ": damaged database file: archive ends early", error.what());
  }
}

TEST(DatabaseTest, InboxNewestFirstWhateverTheKind) {
  Database database("unused");
  auto addOrder = [&](unsigned id, unsigned key, data::Order::State state) {
    data::Order order(id, "", "");
    order.sortKey = key;
    order.state = state;
    database.orders.insert({id, order});
  };
  auto addMessage = [&](unsigned id, unsigned key, bool read) {
    data::TextMessage message(id, "");
    message.sortKey = key;
    message.read = read;
    database.textMessages.insert({id, message});
  };
  addOrder(10, 5, data::Order::StateNew);
  addOrder(11, 2, data::Order::StateNewToAccept);
  addOrder(12, 7, data::Order::StateReadToAccept);
  addOrder(13, 3, data::Order::StateRead);  // same key as a message: the order comes first
  addMessage(1, 3, false);
  addMessage(2, 9, true);
  addMessage(3, 4, false);

  std::deque<data::InboxEntry*> entries(3, nullptr);
  database.GetInboxEntries(entries);
  std::vector<unsigned> ids;
  for (const data::InboxEntry* entry : entries) {
    ids.push_back(entry->id);
  }
  EXPECT_EQ((std::vector<unsigned>{2, 12, 10, 3, 13, 1, 11}), ids);
  EXPECT_EQ(&database.orders.at(12), entries[1]);

  database.GetUnreadInboxEntries(entries);
  ids.clear();
  for (const data::InboxEntry* entry : entries) {
    ids.push_back(entry->id);
  }
  EXPECT_EQ((std::vector<unsigned>{10, 3, 1, 11}), ids);
}

TEST(DatabaseTest, StatusListsInAscendingId) {
  Database database("unused");
  database.statuses.insert({30, data::Status(30, "c")});
  database.statuses.insert({10, data::Status(10, "a")});
  database.orderStatuses.insert({5, data::Status(5, "x")});
  std::deque<data::Status*> entries(1, nullptr);
  database.GetStatuses(entries);
  ASSERT_EQ(2u, entries.size());
  EXPECT_EQ("a", entries[0]->text);
  EXPECT_EQ("c", entries[1]->text);
  database.GetOrderStatuses(entries);
  ASSERT_EQ(1u, entries.size());
  EXPECT_EQ(&database.orderStatuses.at(5), entries[0]);
}

}  // namespace

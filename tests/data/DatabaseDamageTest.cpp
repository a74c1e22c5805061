// The start never loses a file it can't read as it is: a damaged or repaired
// file is kept aside as "<file>.damaged" before a new one is written.
#include <unistd.h>

#include <gtest/gtest.h>

#include <string>

#include "data/Database.h"
#include "data/DatabaseFile.h"
#include "data/SampleDatabase.h"
#include "support/TempDir.h"

namespace {

using Found = data::Database::Found;

TEST(DatabaseDamageTest, TheStartKeepsWhatItCantReadAside) {
  const std::string good = data::EncodeDatabase(testdata::FullDatabase());
  const std::string cut = good.substr(0, good.size() / 2);
  const std::string fresh = data::EncodeDatabase(data::Database(""));
  struct Row {
    const char* name;
    bool exists;
    std::string content;
    bool link;  // the file is reached through a symbolic link
    Found found;
    bool keptAside;
    std::string after;  // what the file holds after the start
  } const rows[] = {
      {"no file", false, "", false, Found::Nothing, false, fresh},
      {"an empty file", true, "", false, Found::Nothing, false, fresh},
      {"a good file", true, good, false, Found::Database, false, good},
      {"a damaged file", true, cut, false, Found::Damage, true, fresh},
      {"a file with a tail", true, good + "xyz", false, Found::RepairedDatabase, true, good},
      {"a damaged file behind a link", true, cut, true, Found::Damage, true, fresh},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    testsupport::TempDir folder;
    const std::string path = folder.File("velarnd.db");
    const std::string file = row.link ? folder.File("real.db") : path;
    if (row.exists) {
      testsupport::WriteFile(file, row.content);
    }
    if (row.link) {
      ASSERT_EQ(0, symlink(file.c_str(), path.c_str()));
    }
    // An older file kept aside, as a link planted by someone else: replaced,
    // never followed.
    testsupport::WriteFile(folder.File("victim"), "victim");
    ASSERT_EQ(0, symlink(folder.File("victim").c_str(), (file + ".damaged").c_str()));

    data::Database database(path);
    EXPECT_EQ(row.found, database.Open());
    EXPECT_EQ(row.after, testsupport::ReadFile(path));
    EXPECT_EQ("victim", testsupport::ReadFile(folder.File("victim")));
    char target[64] = {};
    const bool stillLink = readlink((file + ".damaged").c_str(), target, sizeof(target)) > 0;
    EXPECT_EQ(!row.keptAside, stillLink);
    if (row.keptAside) {
      EXPECT_EQ(row.content, testsupport::ReadFile(file + ".damaged"));
    }
    // What was read is what memory holds: all of a good file, nothing of a damaged one.
    EXPECT_TRUE(data::EncodeDatabase(database) == row.after);
  }
}

}  // namespace

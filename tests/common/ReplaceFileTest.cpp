// Saving aside: what stands at the path decides where the bytes land, with
// which mode and owner, and what becomes of links and leftovers.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "common/Exceptions.h"
#include "common/ReplaceFile.h"
#include "support/TempDir.h"

namespace {

using testsupport::ReadFile;
using testsupport::WriteFile;

constexpr uid_t kOther = 12345;  // neither root nor the test's user

void Save(const std::string& path, const std::string& text) {
  common::ReplaceFile(path,
                      [&text](std::streambuf& out) { out.sputn(text.data(), std::streamsize(text.size())); });
}

struct stat LinkStatus(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(0, ::lstat(path.c_str(), &status)) << path;
  return status;
}

// An entry planted before the save: a file reading "old" (to is null) or a
// link to to (from the folder's top when it begins with "/").
struct Entry {
  const char* at;
  const char* to;
  uid_t owner;
  mode_t mode;
};

TEST(ReplaceFileTest, WhatStandsAtThePathDecidesWhereTheBytesGo) {
  const uid_t me = ::geteuid();
  struct Case {
    const char* what;
    std::vector<Entry> plant;
    const char* written;  // where "new" must be read afterwards
    mode_t mode;
    uid_t owner;
    const char* staysLink;  // a link that must still be there, or ""
  };
  const std::vector<Case> cases = {
      {"nothing", {}, "db", 0666, me, ""},
      {"a 0600 file of another user", {{"db", nullptr, kOther, 0600}}, "db", 0600, kOther, ""},
      {"the operator's links, absolute then relative",
       {{"sub/real", nullptr, me, 0640}, {"db", "/sub/hop", me, 0}, {"sub/hop", "real", me, 0}},
       "sub/real",
       0640,
       me,
       "sub/hop"},
      {"the operator's dangling link", {{"db", "new", me, 0}}, "new", 0666, me, "db"},
      {"another user's link", {{"db", "/victim", kOther, 0}}, "db", 0666, me, ""},
      {"links and leftovers at temporary names",
       {{"db.tmp", "/victim", me, 0},
        {"db.tmp.999999999.0", "/victim", me, 0},
        {"db.tmp.1.0", "gone", me, 0}},
       "db",
       0666,
       me,
       "db.tmp.1.0"},  // pid 1 runs: its temporary stays
      {"a neighbour whose name only begins like a temporary's",
       {{"db.tmpx", "gone", me, 0}},
       "db",
       0666,
       me,
       "db.tmpx"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    if (me != 0 &&
        std::any_of(c.plant.begin(), c.plant.end(), [&](const Entry& e) { return e.owner != me; })) {
      continue;  // giving files away needs root; the other rows still run
    }
    testsupport::TempDir dir;
    ASSERT_EQ(0, ::mkdir(dir.File("sub").c_str(), 0755));
    WriteFile(dir.File("victim"), "victim");
    for (const Entry& entry : c.plant) {
      const std::string at = dir.File(entry.at);
      if (entry.to == nullptr) {
        WriteFile(at, "old");
        ASSERT_EQ(0, ::chmod(at.c_str(), entry.mode));
      } else {
        ASSERT_EQ(0, ::symlink((*entry.to == '/' ? dir.Path() + entry.to : entry.to).c_str(), at.c_str()));
      }
      ASSERT_EQ(0, ::lchown(at.c_str(), entry.owner, entry.owner));
    }
    const mode_t previous = ::umask(022);
    Save(dir.File("db"), "new");
    ::umask(previous);
    EXPECT_EQ("new", ReadFile(dir.File(c.written)));
    const struct stat written = LinkStatus(dir.File(c.written));
    EXPECT_TRUE(S_ISREG(written.st_mode));
    EXPECT_EQ(c.mode, written.st_mode & 07777);
    EXPECT_EQ(c.owner, written.st_uid);
    EXPECT_EQ("victim", ReadFile(dir.File("victim")));
    if (*c.staysLink != '\0') {
      EXPECT_TRUE(S_ISLNK(LinkStatus(dir.File(c.staysLink)).st_mode));
    }
    struct stat status {};
    EXPECT_NE(0, ::lstat(dir.File("db.tmp").c_str(), &status));
    EXPECT_NE(0, ::lstat(dir.File("db.tmp.999999999.0").c_str(), &status));
  }
  if (me == 0) {  // only the group differs from the new file's: kept as well
    testsupport::TempDir dir;
    WriteFile(dir.File("db"), "old");
    ASSERT_EQ(0, ::chown(dir.File("db").c_str(), 0, kOther));
    Save(dir.File("db"), "new");
    EXPECT_EQ(kOther, LinkStatus(dir.File("db")).st_gid);
  }
}

// Runs save as nobody in a child when this test runs as root (which no
// folder permission stops); its exit status tells how the save ended.
int SaveAsUnprivileged(const std::string& path, const std::string& text) {
  const pid_t child = ::fork();
  if (child == 0) {
    if (::geteuid() == 0 && (::setgid(65534) != 0 || ::setuid(65534) != 0)) {
      ::_exit(3);
    }
    try {
      Save(path, text);
    } catch (const IOException& error) {
      ::_exit(std::string(error.what()).rfind("could not create " + path, 0) == 0 ? 1 : 2);
    }
    ::_exit(0);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(ReplaceFileTest, AFolderThatCantBeWrittenFallsBackToWritingInPlace) {
  testsupport::TempDir dir;
  const std::string folder = dir.File("ro");
  ASSERT_EQ(0, ::mkdir(folder.c_str(), 0755));
  const std::string file = folder + "/db";
  const std::string twin = dir.File("twin");
  WriteFile(file, "old content, longer than the new");
  WriteFile(twin, "old");
  ASSERT_EQ(0, ::link(twin.c_str(), (folder + "/linked").c_str()));
  ASSERT_EQ(0, ::chmod(file.c_str(), 0666) + ::chmod(twin.c_str(), 0666) + ::chmod(folder.c_str(), 0555) +
                   ::chmod(dir.Path().c_str(), 0755));
  const ino_t inode = LinkStatus(file).st_ino;

  EXPECT_EQ(0, SaveAsUnprivileged(file, "new"));
  EXPECT_EQ("new", ReadFile(file));
  EXPECT_EQ(inode, LinkStatus(file).st_ino);
  // A file with a second name is not written in place: the other name would
  // change too.
  EXPECT_EQ(1, SaveAsUnprivileged(folder + "/linked", "new"));
  EXPECT_EQ("old", ReadFile(twin));
  ::chmod(folder.c_str(), 0755);
}

}  // namespace

// The GPS pipe: made readable for everyone, only a pipe or a regular file is
// used, and a reader that comes late reads fresh fixes.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <functional>
#include <string>

#include "nmea/GSASentence.h"
#include "nmea/GSVSentence.h"
#include "nmea/NamedPipeGPSFeeder.h"
#include "nmea/NullGPSFeeder.h"
#include "nmea/RMCSentence.h"
#include "support/TempDir.h"

namespace {

using namespace nmea;

const std::string kEmptyRMC = "$GPRMC,,,,,,,,,,,*67\r\n";

std::string What(const std::function<void()>& action) {
  try {
    action();
  } catch (const std::exception& error) {
    return error.what();
  }
  return "";
}

// Restores the test process's file mode mask, which the feeder sets to 0.
class GPSFeedersTest : public ::testing::Test {
 protected:
  void SetUp() override { savedMask = umask(0077); }
  void TearDown() override { umask(savedMask); }
  // Everything that a reader who opens the pipe now can read.
  std::string ReadLate(const std::string& path) {
    const int reader = open(path.c_str(), O_RDONLY | O_NONBLOCK);
    EXPECT_EQ(getpagesize(), fcntl(reader, F_GETPIPE_SZ));
    std::string text;
    char chunk[4096];
    for (ssize_t got; (got = read(reader, chunk, sizeof(chunk))) > 0;) {
      text.append(chunk, static_cast<size_t>(got));
    }
    close(reader);
    return text;
  }
  mode_t savedMask = 0;
  testsupport::TempDir dir;
};

TEST_F(GPSFeedersTest, BothFeedersKeepTheirStateAndThePipeIsForEveryone) {
  const std::string path = dir.File("gps");
  EXPECT_EQ(0u, What([&] {
                  NamedPipeGPSFeeder missing(dir.File("no/such/folder"));
                }).find("can't create named pipe (errno 2:"));
  NamedPipeGPSFeeder pipe(path);
  struct stat info {};
  ASSERT_EQ(0, stat(path.c_str(), &info));
  EXPECT_TRUE(S_ISFIFO(info.st_mode));
  // 0644 although the process's mask was 0077: the feeder cleared it.
  EXPECT_EQ(0644u, info.st_mode & 0777);
  EXPECT_EQ(0u, umask(0));
  EXPECT_EQ(0u, What([&] { pipe.Write(RMCSentence()); }).find("can write gps data (errno 9:"));
  NullGPSFeeder null;
  null.Write(RMCSentence());  // nothing, not even while closed
  for (IGPSFeeder* feeder : {static_cast<IGPSFeeder*>(&null), static_cast<IGPSFeeder*>(&pipe)}) {
    EXPECT_FALSE(feeder->IsOpen());
    EXPECT_EQ("feeder is just closed", What([&] { feeder->Close(); }));
    feeder->Open();  // doesn't wait for a reader
    EXPECT_EQ("feeder is just open", What([&] { feeder->Open(); }));
    EXPECT_TRUE(feeder->IsOpen());  // on its first descriptor
    feeder->Write(RMCSentence());
    feeder->Write(GSASentence());
  }
  EXPECT_EQ(kEmptyRMC + ToString(GSASentence()), ReadLate(path));
  // Closing the feed ends a reader's file; opened again, it feeds anew.
  const int reader = open(path.c_str(), O_RDONLY | O_NONBLOCK);
  pipe.Close();
  null.Close();
  EXPECT_FALSE(pipe.IsOpen() || null.IsOpen());
  char byte;
  EXPECT_EQ(0, read(reader, &byte, 1));
  close(reader);
  pipe.Open();
  pipe.Write(RMCSentence());
  EXPECT_EQ(kEmptyRMC, ReadLate(path));
}

TEST_F(GPSFeedersTest, OnlyAPipeOrARegularFileIsUsed) {
  const std::string link = "can't open named pipe (errno 40: Too many levels of symbolic links)";
  ASSERT_EQ(0, mkfifo(dir.File("fifo").c_str(), 0600));  // from an earlier run
  testsupport::WriteFile(dir.File("file"), std::string(100, '.'));
  ASSERT_EQ(0, symlink(dir.File("fifo").c_str(), dir.File("to-fifo").c_str()));
  ASSERT_EQ(0, symlink(dir.File("nowhere").c_str(), dir.File("dangling").c_str()));
  ASSERT_EQ(0, mkdir(dir.File("folder").c_str(), 0755));
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"fifo", ""},
      {"file", ""},
      {"to-fifo", link},
      {"dangling", link},
      {"folder", "can't open named pipe (not a FIFO or a regular file)"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.second, What([&] {
                NamedPipeGPSFeeder feeder(dir.File(c.first));
                feeder.Open();
                feeder.Write(RMCSentence());
              }))
        << c.first;
  }
  // The sentence lands at the start of a regular file, which keeps its size.
  EXPECT_EQ(kEmptyRMC + std::string(100 - kEmptyRMC.size(), '.'), testsupport::ReadFile(dir.File("file")));

  // Swapped for a link after the start: the opening refuses it as well, and
  // the link's target stays empty.
  NamedPipeGPSFeeder feeder(dir.File("fifo"));
  ASSERT_EQ(0, symlink(dir.File("file").c_str(), dir.File("to-file").c_str()));
  ASSERT_EQ(0, rename(dir.File("to-file").c_str(), dir.File("fifo").c_str()));
  testsupport::WriteFile(dir.File("file"), "");
  EXPECT_EQ(link, What([&] { feeder.Open(); }));
  EXPECT_EQ("", testsupport::ReadFile(dir.File("file")));
}

TEST_F(GPSFeedersTest, AReaderThatComesLateReadsFreshSentences) {
  const std::string path = dir.File("gps");
  NamedPipeGPSFeeder feeder(path);
  feeder.Open();
  // Ten minutes of fixes at one a second, as the daemon writes them, with
  // nobody reading: the latest two fixes wait in the pipe.
  std::string previous, latest;
  for (uint32_t second = 0; second < 600; ++second) {
    RMCSentence rmc;
    rmc.time = 300000000 + second;
    GSASentence gsa;
    GSVSentence gsv;
    previous = latest;
    latest = ToString(rmc) + ToString(gsa) + ToString(gsv) + ToString(gsv);
    feeder.Write(rmc);
    feeder.Write(gsa);
    feeder.Write(gsv);
    feeder.Write(gsv);
  }
  EXPECT_EQ(previous + latest, ReadLate(path));

  // Without fixes to go by, a full pipe loses its oldest whole sentences.
  std::string all;
  for (uint16_t number = 0; number < 2000; ++number) {
    GSASentence gsa;
    gsa.pdop = number;
    feeder.Write(gsa);  // never refused
    all += ToString(gsa);
  }
  const std::string late = ReadLate(path);
  ASSERT_GT(late.size(), 2000u);
  EXPECT_EQ('$', late[0]);
  EXPECT_EQ(all.substr(all.size() - late.size()), late);
}

}  // namespace

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <string>
#include <utility>

#include "common/Exceptions.h"
#include "nmea/GSASentence.h"
#include "nmea/NamedPipeGPSFeeder.h"
#include "nmea/NullGPSFeeder.h"
#include "nmea/RMCSentence.h"
#include "support/Process.h"
#include "support/TempDir.h"

namespace {

using namespace nmea;

RMCSentence ExampleRMC() {
  RMCSentence rmc;
  rmc.time = 300000000;
  rmc.status = 'A';
  rmc.latitude = 52370216;
  rmc.longitude = 4895168;
  rmc.speed = 1000;
  rmc.course = 2345;
  return rmc;
}

const char* const kExampleLine = "$GPRMC,052000,A,5222.2129,N,00453.7100,E,54.0,234.5,040709,,*2A\r\n";

// Restores the test process's file mode mask, which the feeder sets to 0.
class NamedPipeGPSFeederTest : public ::testing::Test {
 protected:
  void SetUp() override { savedMask = umask(0077); }
  void TearDown() override { umask(savedMask); }
  mode_t savedMask = 0;
  testsupport::TempDir dir;
};

TEST_F(NamedPipeGPSFeederTest, MakesAPipeThatARealReaderReceives) {
  const std::string path = dir.File("gps");
  NamedPipeGPSFeeder feeder(path);
  struct stat info;
  ASSERT_EQ(0, stat(path.c_str(), &info));
  EXPECT_TRUE(S_ISFIFO(info.st_mode));
  // 0644 although the process's mask was 0077: the feeder cleared it.
  EXPECT_EQ(0644u, info.st_mode & 0777);
  EXPECT_EQ(0u, umask(0));
  EXPECT_FALSE(feeder.IsOpen());

  feeder.Open();  // doesn't wait for a reader
  EXPECT_TRUE(feeder.IsOpen());
  testsupport::ChildProcess reader({"/bin/cat", path});
  feeder.Write(ExampleRMC());
  GSASentence gsa;
  feeder.Write(gsa);
  const std::string expected = std::string(kExampleLine) + ToString(gsa);
  EXPECT_TRUE(reader.WaitForOutput(expected, std::chrono::seconds(10))) << reader.Output();
  EXPECT_EQ(expected, reader.Output());

  // Closing the feed ends the reader's file; after the next opening a reader
  // gets the new sentences (waiting for the end first keeps this steady).
  feeder.Close();
  EXPECT_FALSE(feeder.IsOpen());
  int status = 0;
  EXPECT_TRUE(reader.Wait(std::chrono::seconds(10), status));
  feeder.Open();
  testsupport::ChildProcess next({"/bin/cat", path});
  feeder.Write(ExampleRMC());
  EXPECT_TRUE(next.WaitForOutput(kExampleLine, std::chrono::seconds(10))) << next.Output();
}

TEST_F(NamedPipeGPSFeederTest, WhateverLiesAtThePathIsUsed) {
  // A pipe from an earlier run.
  const std::string pipePath = dir.File("pipe");
  ASSERT_EQ(0, mkfifo(pipePath.c_str(), 0600));
  NamedPipeGPSFeeder reused(pipePath);
  reused.Open();
  reused.Write(ExampleRMC());
  reused.Close();

  // A regular file is taken for the pipe; the sentence lands in it.
  const std::string filePath = dir.File("file");
  testsupport::WriteFile(filePath, std::string(100, '.'));
  {
    NamedPipeGPSFeeder feeder(filePath);
    feeder.Open();
    feeder.Write(ExampleRMC());
  }  // the destructor closes it, and leaves the file
  const std::string content = testsupport::ReadFile(filePath);
  EXPECT_EQ(kExampleLine, content.substr(0, std::string(kExampleLine).size()));
  EXPECT_EQ(100u, content.size());
}

// The IOException of action: its errno and the start of its text.
std::pair<int, std::string> IOFailure(const std::function<void()>& action) {
  try {
    action();
  } catch (const IOException& error) {
    const std::string text = error.what();
    return {error.GetErrorNumber(), text.substr(0, text.find(" (errno "))};
  }
  return {0, ""};
}

std::string WrongState(const std::function<void()>& action) {
  try {
    action();
  } catch (const InvalidOperationException& error) {
    return error.what();
  }
  return "";
}

TEST_F(NamedPipeGPSFeederTest, FailuresAndWrongStates) {
  EXPECT_EQ(std::make_pair(ENOENT, std::string("can't create named pipe")),
            IOFailure([&] { NamedPipeGPSFeeder missing(dir.File("no/such/folder")); }));
  NamedPipeGPSFeeder feeder(dir.File("gps"));
  EXPECT_EQ(std::make_pair(EBADF, std::string("can write gps data")),
            IOFailure([&] { feeder.Write(ExampleRMC()); }));
  EXPECT_EQ("feeder is just closed", WrongState([&] { feeder.Close(); }));
  feeder.Open();
  EXPECT_EQ("feeder is just open", WrongState([&] { feeder.Open(); }));
  // The first descriptor is still in use.
  EXPECT_TRUE(feeder.IsOpen());
  feeder.Write(ExampleRMC());
  feeder.Close();
}

TEST(NullGPSFeederTest, KeepsTheStateAndWritesNothing) {
  NullGPSFeeder feeder;
  EXPECT_FALSE(feeder.IsOpen());
  EXPECT_EQ("feeder is just closed", WrongState([&] { feeder.Close(); }));
  feeder.Write(ExampleRMC());  // nothing, not even while closed
  feeder.Open();
  EXPECT_TRUE(feeder.IsOpen());
  EXPECT_EQ("feeder is just open", WrongState([&] { feeder.Open(); }));
  feeder.Write(ExampleRMC());
  feeder.Close();
  EXPECT_FALSE(feeder.IsOpen());
}

}  // namespace

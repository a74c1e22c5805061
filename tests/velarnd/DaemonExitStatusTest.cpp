// What a supervisor sees: a stop that couldn't write the database or the
// context ends with a status that says so; -checkpoint takes seconds only.
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/Ports.h"
#include "support/Process.h"
#include "support/TempDir.h"
#include "support/Wait.h"

namespace {

using namespace std::chrono_literals;

std::vector<std::string> Command(const testsupport::TempDir& dir, const std::vector<std::string>& more) {
  std::vector<std::string> args = {VELARND_BINARY, "-console",
                                   "-svraddr",     dir.File("nav.sock"),
                                   "-dbfile",      dir.File("db/velarnd.db"),
                                   "-ctxfile",     dir.File("ctx/velarnd.ctx"),
                                   "-zuaddr",      "127.0.0.1:" + std::to_string(testsupport::FreeUdpPort()),
                                   "-velarnaddr",  "127.0.0.1:" + std::to_string(testsupport::FreeUdpPort())};
  args.insert(args.end(), more.begin(), more.end());
  return args;
}

}  // namespace

TEST(DaemonExitStatusTest, AStopThatCouldNotWriteItsFilesSaysWhich) {
  struct Case {
    std::vector<std::string> gone;  // folders removed while the daemon runs
    int status;
  };
  for (const Case& c : {Case{{}, 0}, Case{{"db"}, 2}, Case{{"ctx"}, 4}, Case{{"db", "ctx"}, 6}}) {
    testsupport::TempDir dir;
    ::mkdir(dir.File("db").c_str(), 0700);
    ::mkdir(dir.File("ctx").c_str(), 0700);
    testsupport::ChildProcess daemon(Command(dir, {}));
    // Listening: the start is over, the database was written.
    ASSERT_TRUE(testsupport::WaitUntil([&] { return std::filesystem::exists(dir.File("nav.sock")); }, 10s));
    for (const std::string& folder : c.gone) {
      std::filesystem::remove_all(dir.File(folder));
    }
    daemon.Signal(SIGTERM);
    int status = 0;
    ASSERT_TRUE(daemon.Wait(10s, status));
    EXPECT_TRUE(WIFEXITED(status)) << status;
    EXPECT_EQ(c.status, WEXITSTATUS(status)) << daemon.Output();
  }
}

TEST(DaemonExitStatusTest, CheckpointTakesWholeSecondsUpToADay) {
  testsupport::TempDir dir;
  for (const char* value : {"x", "5s", "86401", "1000000"}) {
    const testsupport::RunResult result = testsupport::Run(Command(dir, {"-checkpoint", value}), 10s);
    ASSERT_TRUE(result.finished);
    EXPECT_TRUE(WIFSIGNALED(result.status) && WTERMSIG(result.status) == SIGABRT) << value;
    EXPECT_EQ("failure: invalid number of seconds (checkpoint)\r\n", result.output) << value;
  }
}

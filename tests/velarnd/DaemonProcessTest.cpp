// Runs the real velarnd binary: parameter refusals, console and detached
// modes, signals, the lock file. Every wait is bounded.
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

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
using testsupport::ChildProcess;

std::vector<std::string> Command(std::vector<std::string> args) {
  args.insert(args.begin(), VELARND_BINARY);
  return args;
}

// A full, valid parameter set inside dir, with UDP ports of its own: the
// daemon binds its address, and tests run in parallel.
std::vector<std::string> FullParameters(const testsupport::TempDir& dir, const std::string& db = "velarnd.db",
                                        const std::string& ctx = "velarnd.ctx") {
  const std::string local = "127.0.0.1:" + std::to_string(testsupport::FreeUdpPort());
  const std::string peer = "127.0.0.1:" + std::to_string(testsupport::FreeUdpPort());
  return {"-svraddr", dir.File("nav.sock"), "-dbfile", dir.File(db), "-zuaddr",
          local,      "-velarnaddr",        peer,      "-ctxfile",   dir.File(ctx)};
}

std::string ExpectFailure(const std::vector<std::string>& args) {
  const testsupport::RunResult result = testsupport::Run(Command(args), 10s);
  EXPECT_TRUE(result.finished);
  // main reports with printf and ends itself with abort().
  EXPECT_TRUE(WIFSIGNALED(result.status) && WTERMSIG(result.status) == SIGABRT) << result.output;
  return result.output;
}

TEST(DaemonProcessTest, ReportsTheFirstBadParameterInOrder) {
  struct Case {
    std::vector<std::string> args;
    std::string text;
  };
  const std::vector<Case> cases = {
      {{"-console"}, "you must specify the server address (svraddr)"},
      {{"-console", "-svraddr", "s"}, "you must specify the database file (dbfile)"},
      {{"-console", "-svraddr", "s", "-dbfile", "d"}, "you must specify the ZU's address (zuaddr)"},
      {{"-console", "-svraddr", "s", "-dbfile", "d", "-zuaddr", "1.2.3.4"}, "invalid address (zuaddr)"},
      {{"-console", "-svraddr", "s", "-dbfile", "d", "-zuaddr", "1.2.3.4:1"},
       "you must specify the velarn's address (velarnaddr)"},
      {{"-console", "-svraddr", "s", "-dbfile", "d", "-zuaddr", "1.2.3.4:1", "-velarnaddr", "x:2"},
       "invalid address (velarnaddr)"},
      {{"-console", "-svraddr", "s", "-dbfile", "d", "-zuaddr", "1.2.3.4:1", "-velarnaddr", "1.2.3.5:2"},
       "you must specify the velarn's context file (ctxfile)"},
      // Command line syntax fails in the frame's constructor, before any check.
      {{"-a", "-a"}, "invalid options (duplicate parameter: \"a\")"},
      {{"-a", "1", "2"}, "invalid options (no parameter name specified for value: \"2\")"},
      {{"-"}, "invalid options (invalid parameter name)"},
      {{"-a", ""}, "invalid options"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ("failure: " + c.text + "\r\n", ExpectFailure(c.args));
  }
  // -checkpoint takes whole seconds up to a day.
  testsupport::TempDir dir;
  for (const char* value : {"x", "5s", "86401", "1000000"}) {
    std::vector<std::string> args = FullParameters(dir);
    args.insert(args.end(), {"-console", "-checkpoint", value});
    EXPECT_EQ("failure: invalid number of seconds (checkpoint)\r\n", ExpectFailure(args)) << value;
  }
  // With no arguments at all the first check speaks; here the frame detaches
  // first, so the text would go nowhere: only the console form shows it.
}

TEST(DaemonProcessTest, DetachedInstanceReturnsAtOnceAndRunsUntilTerm) {
  testsupport::BecomeSubreaper();
  testsupport::TempDir dir;
  const std::string lockFile = dir.File("velarnd.pid");
  std::vector<std::string> args = FullParameters(dir);
  args.insert(args.end(), {"-lockfile", lockFile});

  const testsupport::RunResult parent = testsupport::Run(Command(args), 5s);
  ASSERT_TRUE(parent.finished);
  ASSERT_TRUE(WIFEXITED(parent.status));
  EXPECT_EQ(0, WEXITSTATUS(parent.status));
  EXPECT_EQ("", parent.output);

  std::string content;
  ASSERT_TRUE(testsupport::WaitUntil(
      [&] {
        content = testsupport::ReadFile(lockFile);
        return !content.empty() && content.back() == '\n';
      },
      5s));
  const pid_t daemonPid = static_cast<pid_t>(std::stoul(content));
  ASSERT_GT(daemonPid, 1);

  int status = 0;
  // SIGHUP is ignored by a detached instance.
  kill(daemonPid, SIGHUP);
  EXPECT_FALSE(testsupport::WaitForPid(daemonPid, 400ms, status));

  kill(daemonPid, SIGTERM);
  ASSERT_TRUE(testsupport::WaitForPid(daemonPid, 3s, status));
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(0, WEXITSTATUS(status));
}

TEST(DaemonProcessTest, LockFileHoldsThePidAndKeepsASecondInstanceOut) {
  testsupport::TempDir dir;
  const std::string lockFile = dir.File("velarnd.pid");
  std::vector<std::string> args = FullParameters(dir);
  args.insert(args.end(), {"-console", "-lockfile", lockFile});

  ChildProcess::Options strictUmask;
  strictUmask.umask = 0777;
  ChildProcess first(Command(args), strictUmask);
  const std::string expected = std::to_string(first.Pid()) + "\n";
  ASSERT_TRUE(testsupport::WaitUntil([&] { return testsupport::ReadFile(lockFile) == expected; }, 5s));

  struct stat info {};
  ASSERT_EQ(0, stat(lockFile.c_str(), &info));
  EXPECT_EQ(0640u, info.st_mode & 07777u);

  const std::string output = ExpectFailure(args);
  EXPECT_EQ(0u, output.find("failure: can't lock lock-file (errno 11: ")) << output;
  EXPECT_EQ(")\r\n", output.substr(output.size() - 3));
  // The truncation comes after the lock, so the first instance's pid stays.
  EXPECT_EQ(expected, testsupport::ReadFile(lockFile));

  first.Signal(SIGTERM);
  int status = 0;
  ASSERT_TRUE(first.Wait(3s, status));
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);

  // A stale lock file of a dead process doesn't matter.
  ChildProcess second(Command(args));
  const std::string secondPid = std::to_string(second.Pid()) + "\n";
  EXPECT_TRUE(testsupport::WaitUntil([&] { return testsupport::ReadFile(lockFile) == secondPid; }, 5s));
  second.Signal(SIGTERM);
  ASSERT_TRUE(second.Wait(3s, status));

  // An empty path can't be opened.
  const std::string empty = ExpectFailure({"-console", "-lockfile"});
  EXPECT_EQ(0u, empty.find("failure: can't open lock-file (errno 2: ")) << empty;
}

// What a supervisor sees: INT, HUP and TERM stop a console instance (SIGUSR1,
// sent first, is ignored), and a stop that couldn't write the database or the
// context ends with a status that says so.
TEST(DaemonProcessTest, ConsoleStopsOnSignalsWithAStatusThatNamesTheFilesNotWritten) {
  struct Case {
    int signal;
    std::vector<std::string> gone;  // folders removed while the daemon runs
    int status;
  };
  for (const Case& c : {Case{SIGINT, {}, 0}, Case{SIGHUP, {}, 0}, Case{SIGTERM, {"db"}, 2},
                        Case{SIGTERM, {"ctx"}, 4}, Case{SIGTERM, {"db", "ctx"}, 6}}) {
    testsupport::TempDir dir;
    ::mkdir(dir.File("db").c_str(), 0700);
    ::mkdir(dir.File("ctx").c_str(), 0700);
    std::vector<std::string> args = FullParameters(dir, "db/velarnd.db", "ctx/velarnd.ctx");
    // Unknown parameters are accepted and ignored.
    args.insert(args.end(), {"-console", "-unknown", "x"});
    ChildProcess daemon(Command(args));
    // Listening: the start is over, the database was written.
    ASSERT_TRUE(testsupport::WaitUntil([&] { return std::filesystem::exists(dir.File("nav.sock")); }, 10s));
    daemon.Signal(SIGUSR1);
    for (const std::string& folder : c.gone) {
      std::filesystem::remove_all(dir.File(folder));
    }
    daemon.Signal(c.signal);
    int status = 0;
    ASSERT_TRUE(daemon.Wait(10s, status));
    EXPECT_TRUE(WIFEXITED(status)) << status;
    EXPECT_EQ(c.status, WEXITSTATUS(status)) << daemon.Output();
  }
}

}  // namespace

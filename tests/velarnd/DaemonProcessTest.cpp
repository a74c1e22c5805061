// Runs the real velarnd binary: parameter refusals, console and detached
// modes, signals and exit statuses, the lock file, links planted at its
// paths. Every wait is bounded.
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "data/Database.h"
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
                                        const std::string& ctx = "velarnd.ctx",
                                        const std::string& socket = "nav.sock") {
  const std::string local = "127.0.0.1:" + std::to_string(testsupport::FreeUdpPort());
  const std::string peer = "127.0.0.1:" + std::to_string(testsupport::FreeUdpPort());
  return {"-svraddr", dir.File(socket), "-dbfile", dir.File(db), "-zuaddr",
          local,      "-velarnaddr",    peer,      "-ctxfile",   dir.File(ctx)};
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
  args.insert(args.end(), {"-lockfile", lockFile, "-checkpoint", "86400"});  // the longest allowed

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

// Someone who may write into the service's folders plants symbolic links at
// every path the service writes. The service, run as root and as an ordinary
// user, must touch none of their targets.
constexpr uid_t kNobody = 65534;
constexpr uid_t kPlanter = 12345;  // neither root nor the service's user

// A data folder owned by the service's user, and beside it a folder of
// victims (writable for the service too): the files that links point at, or
// the names where dangling links point.
struct Rig {
  Rig(uid_t user, bool existing) : user(user), existing(existing), data(dir.File("data")) {
    EXPECT_EQ(0, ::chmod(dir.Path().c_str(), 0755));
    EXPECT_EQ(0, ::mkdir(data.c_str(), 0755));
    EXPECT_EQ(0, ::chown(data.c_str(), user, user));
    EXPECT_EQ(0, ::mkdir(dir.File("victims").c_str(), 0755));
    EXPECT_EQ(0, ::chmod(dir.File("victims").c_str(), 0777));
  }
  std::string Victim(const std::string& name) const { return dir.File("victims/" + name); }
  std::string At(const std::string& name) const { return data + "/" + name; }
  void Plant(const std::string& name) {
    if (existing) {
      testsupport::WriteFile(Victim(name), "victim");
      EXPECT_EQ(0, ::chmod(Victim(name).c_str(), 0666));
    }
    EXPECT_EQ(0, ::symlink(Victim(name).c_str(), At(name).c_str()));
    EXPECT_EQ(0, ::lchown(At(name).c_str(), kPlanter, kPlanter));
    planted.push_back(name);
  }
  void ExpectVictimsUntouched() const {
    for (const std::string& name : planted) {
      struct stat status {};
      EXPECT_EQ(existing, ::lstat(Victim(name).c_str(), &status) == 0) << name;
      EXPECT_EQ(existing ? "victim" : "", testsupport::ReadFile(Victim(name))) << name;
      EXPECT_EQ(existing ? 0100666u : 0u, status.st_mode) << name;
    }
  }
  std::vector<std::string> Command(std::vector<std::string> args) const {
    const std::string id = std::to_string(user);
    std::vector<std::string> command = {"/usr/bin/setpriv", "--reuid=" + id, "--regid=" + id,
                                        "--clear-groups",   VELARND_BINARY,  "-console"};
    const std::vector<std::string> files =
        FullParameters(dir, "data/velarnd.db", "data/velarnd.ctx", "data/nav.sock");
    command.insert(command.end(), files.begin(), files.end());
    command.insert(command.end(), args.begin(), args.end());
    return command;
  }

  testsupport::TempDir dir;
  uid_t user;
  bool existing;
  std::string data;
  std::vector<std::string> planted;
};

// The service as root and as nobody, with links to existing and to missing files.
const std::vector<std::pair<uid_t, bool>> kSettings = {
    {0, true}, {0, false}, {kNobody, true}, {kNobody, false}};

#define REQUIRE_ROOT()                                                                                     \
  if (::geteuid() != 0 || ::access("/usr/bin/setpriv", X_OK) != 0) {                                       \
    GTEST_SKIP() << "needs root (links of another owner, the service as nobody) and util-linux's setpriv"; \
  }

TEST(PlantedLinksTest, AServiceThatRunsAndStopsTouchesNoTarget) {
  REQUIRE_ROOT();
  // The files themselves (a link by someone else is not the operator's),
  // their temporaries under the old fixed name and as a killed process's
  // leftovers, and the navigation socket. The four services run side by side.
  const std::vector<std::string> leftovers = {"velarnd.db.tmp", "velarnd.ctx.tmp",
                                              "velarnd.db.tmp.999999999.0", "velarnd.ctx.tmp.999999999.0"};
  std::vector<std::unique_ptr<Rig>> rigs;
  std::vector<std::unique_ptr<testsupport::ChildProcess>> services;
  for (const auto& setting : kSettings) {
    rigs.emplace_back(new Rig(setting.first, setting.second));
    for (const std::string& name : leftovers) {
      rigs.back()->Plant(name);
    }
    for (const char* name : {"velarnd.db", "velarnd.ctx", "nav.sock"}) {
      rigs.back()->Plant(name);
    }
    services.emplace_back(new testsupport::ChildProcess(rigs.back()->Command({})));
  }
  struct stat status {};
  for (std::size_t i = 0; i < rigs.size(); ++i) {
    const std::string socket = rigs[i]->At("nav.sock");
    EXPECT_TRUE(testsupport::WaitUntil(
        [&] { return ::lstat(socket.c_str(), &status) == 0 && S_ISSOCK(status.st_mode); }, 10s))
        << services[i]->Output();
    services[i]->Signal(SIGTERM);
  }
  for (std::size_t i = 0; i < rigs.size(); ++i) {
    const Rig& rig = *rigs[i];
    SCOPED_TRACE("user " + std::to_string(rig.user) + (rig.existing ? ", existing" : ", dangling"));
    int exit = 0;
    ASSERT_TRUE(services[i]->Wait(10s, exit));
    EXPECT_TRUE(WIFEXITED(exit) && WEXITSTATUS(exit) == 0) << services[i]->Output();
    rig.ExpectVictimsUntouched();
    for (const char* file : {"velarnd.db", "velarnd.ctx"}) {
      EXPECT_TRUE(::lstat(rig.At(file).c_str(), &status) == 0 && S_ISREG(status.st_mode)) << file;
      EXPECT_EQ(rig.user, status.st_uid) << file;
    }
    EXPECT_TRUE(data::Database(rig.At("velarnd.db")).Load());
    for (const std::string& name : leftovers) {
      EXPECT_NE(0, ::lstat(rig.At(name).c_str(), &status)) << name;
    }
  }
}

TEST(PlantedLinksTest, ALinkAtTheLockFileOrTheGpsPipeEndsTheStart) {
  REQUIRE_ROOT();
  const std::string loop = " (errno 40: Too many levels of symbolic links)\r\n";
  for (const auto& setting : kSettings) {
    for (const std::string parameter : {"-lockfile", "-gpspipe"}) {
      Rig rig(setting.first, setting.second);
      SCOPED_TRACE(parameter + " as user " + std::to_string(rig.user) + (rig.existing ? ", existing" : ""));
      rig.Plant("planted");
      const testsupport::RunResult result =
          testsupport::Run(rig.Command({parameter, rig.At("planted")}), 10s);
      EXPECT_TRUE(result.finished && WIFSIGNALED(result.status) && WTERMSIG(result.status) == SIGABRT);
      const std::string what = parameter == "-lockfile" ? "lock-file" : "named pipe";
      EXPECT_EQ("failure: can't open " + what + loop, result.output);
      rig.ExpectVictimsUntouched();
    }
  }
}

}  // namespace

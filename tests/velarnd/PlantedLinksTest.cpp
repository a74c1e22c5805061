// Someone who may write into the service's folders plants symbolic links at
// every path the service writes. The service, run as root and as an ordinary
// user, must touch none of their targets.
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

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
    std::vector<std::string> command = {
        "/usr/bin/setpriv", "--reuid=" + id,
        "--regid=" + id,    "--clear-groups",
        VELARND_BINARY,     "-console",
        "-svraddr",         At("nav.sock"),
        "-dbfile",          At("velarnd.db"),
        "-ctxfile",         At("velarnd.ctx"),
        "-zuaddr",          "127.0.0.1:" + std::to_string(testsupport::FreeUdpPort()),
        "-velarnaddr",      "127.0.0.1:" + std::to_string(testsupport::FreeUdpPort())};
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

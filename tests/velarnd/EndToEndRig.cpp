#include "velarnd/EndToEndRig.h"

#include "support/Ports.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iostream>
#include <sstream>
#include <thread>

namespace e2e {

using namespace std::chrono_literals;

namespace {

// SIGTERM to exit: the event loop notices the stop within its 1 s receive
// time-out and the driver joins its threads. Loaded machines and sanitizer
// builds take longer than a device would; this is a bound, not a goal.
constexpr std::chrono::milliseconds kStopBound = 5s;

testsupport::ChildProcess::Options InputOptions(bool withInput) {
  testsupport::ChildProcess::Options options;
  options.captureInput = withInput;
  return options;
}

}  // namespace

Party::Party(const std::string& name, const std::vector<std::string>& argv, bool withInput,
             std::function<void()> pump)
    : name(name), child(argv, InputOptions(withInput)), pump(std::move(pump)) {}

Party::~Party() = default;

std::vector<std::string> Party::Lines() {
  std::vector<std::string> lines;
  std::istringstream in(child.Output());
  std::string line;
  while (std::getline(in, line)) {
    if (in.eof()) {
      break;  // a line still being written
    }
    lines.push_back(line);
  }
  return lines;
}

bool Party::Ended() {
  if (!ended && child.Wait(0ms, status)) {
    ended = true;
  }
  return ended;
}

void Party::Pump() {
  if (pump) {
    pump();
  }
}

bool Party::Finish(std::chrono::milliseconds timeout, int& exitStatus) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  while (!ended) {
    if (child.Wait(10ms, status)) {
      ended = true;
    } else if (std::chrono::steady_clock::now() >= deadline) {
      break;
    }
    Pump();
  }
  exitStatus = status;
  return ended;
}

testing::AssertionResult Party::Expect(const std::string& pattern, std::chrono::milliseconds timeout) {
  return Await(pattern, timeout, true);
}

testing::AssertionResult Party::WaitFor(const std::string& pattern, std::chrono::milliseconds timeout) {
  return Await(pattern, timeout, false);
}

std::string Party::Find(const std::string& pattern) {
  const std::regex regex(pattern);
  for (const std::string& line : Lines()) {
    if (std::regex_search(line, regex)) {
      return line;
    }
  }
  return "";
}

testing::AssertionResult Party::Await(const std::string& pattern, std::chrono::milliseconds timeout,
                                      bool afterCursor) {
  const std::regex regex(pattern);
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  for (;;) {
    // Whether the process had ended before the lines were read: then no
    // further line can come.
    const bool over = Ended();
    const std::vector<std::string> lines = Lines();
    for (size_t i = afterCursor ? cursor : 0; i < lines.size(); ++i) {
      if (std::regex_search(lines[i], regex)) {
        cursor = afterCursor ? i + 1 : cursor;
        return testing::AssertionSuccess();
      }
    }
    if (over || std::chrono::steady_clock::now() >= deadline) {
      return testing::AssertionFailure()
             << name << (over ? " ended (status " + std::to_string(status) + ")" : "")
             << " printed no line matching \"" << pattern << "\" within " << timeout.count()
             << " ms; it printed:\n"
             << child.Output();
    }
    Pump();
    std::this_thread::sleep_for(5ms);
  }
}

int ExitCode(int status) { return WIFEXITED(status) ? WEXITSTATUS(status) : -1; }

// --- Service ---

Service::Service() : daemonPort(testsupport::FreeUdpPort()), unitPort(testsupport::FreeUdpPort()) {
  while (unitPort == daemonPort) {
    unitPort = testsupport::FreeUdpPort();
  }
}

Party& Service::StartDaemon(bool withGpsPipe) {
  if (daemon) {
    past.push_back(std::move(daemon));
  }
  std::vector<std::string> argv = {VELARND_BINARY, "-console",
                                   "-lockfile",    dir.File("velarnd.pid"),
                                   "-svraddr",     Socket(),
                                   "-dbfile",      DatabaseFile(),
                                   "-zuaddr",      "127.0.0.1:" + std::to_string(daemonPort),
                                   "-velarnaddr",  "127.0.0.1:" + std::to_string(unitPort),
                                   "-ctxfile",     ContextFile()};
  if (withGpsPipe) {
    argv.insert(argv.end(), {"-gpspipe", GpsPipe()});
  }
  daemon.reset(new Party("velarnd #" + std::to_string(++daemonStarts), argv, false, [this] { DrainAll(); }));
  return *daemon;
}

testing::AssertionResult Service::StopDaemon() {
  if (!daemon) {
    return testing::AssertionFailure() << "no daemon was started";
  }
  daemon->Signal(SIGTERM);
  int status = 0;
  if (!daemon->Finish(kStopBound, status)) {
    return testing::AssertionFailure()
           << daemon->Name() << " still ran " << kStopBound.count() << " ms after SIGTERM; it printed:\n"
           << daemon->Output();
  }
  if (ExitCode(status) != 0) {
    return testing::AssertionFailure()
           << daemon->Name() << " ended with waitpid status " << status << " after SIGTERM; it printed:\n"
           << daemon->Output();
  }
  return testing::AssertionSuccess();
}

Party& Service::StartUnit(const std::vector<std::string>& options) {
  std::vector<std::string> argv = {VELARNCTL_BINARY, "unit",
                                   "--local",        "127.0.0.1:" + std::to_string(unitPort),
                                   "--peer",         "127.0.0.1:" + std::to_string(daemonPort),
                                   "--brief",        "--raw"};
  argv.insert(argv.end(), options.begin(), options.end());
  unit.reset(new Party("velarnctl unit", argv, true, [this] { DrainAll(); }));
  return *unit;
}

testing::AssertionResult Service::StopUnit() { return End(*unit); }

Party& Service::StartNav(const std::vector<std::string>& options) {
  if (nav) {
    past.push_back(std::move(nav));
  }
  // -w: a daemon that never listens ends the run instead of keeping it waiting.
  // --raw: the transcripts keep the numbers alone.
  std::vector<std::string> argv = {VELARNCTL_BINARY, "nav", Socket(), "-w", "15", "--raw"};
  argv.insert(argv.end(), options.begin(), options.end());
  nav.reset(new Party("velarnctl nav #" + std::to_string(++navStarts), argv, true, [this] { DrainAll(); }));
  return *nav;
}

testing::AssertionResult Service::StopAll() {
  testing::AssertionResult result = End(*nav);
  result = result ? StopUnit() : result;
  return result ? StopDaemon() : result;
}

void Service::DrainAll() {
  for (Party* party : {daemon.get(), unit.get(), nav.get()}) {
    if (party != nullptr) {
      party->Output();
    }
  }
}

std::string Service::Outputs() {
  std::string text;
  const auto add = [&text](Party* party) {
    if (party != nullptr) {
      text += "=== " + party->Name() + " ===\n" + party->Output() + "\n";
    }
  };
  for (const std::unique_ptr<Party>& party : past) {
    add(party.get());
  }
  add(daemon.get());
  add(unit.get());
  add(nav.get());
  return text;
}

// --- Transcripts ---

std::vector<std::string> Transcript(const std::vector<std::string>& lines, const std::regex& keep,
                                    const std::vector<Mask>& masks) {
  std::vector<std::string> kept;
  for (const std::string& line : lines) {
    if (!std::regex_search(line, keep)) {
      continue;
    }
    std::string masked = line;
    for (const Mask& mask : masks) {
      masked = std::regex_replace(masked, mask.pattern, mask.replacement);
    }
    kept.push_back(masked);
  }
  return kept;
}

testing::AssertionResult MatchesScenarioFile(const std::string& name,
                                             const std::vector<std::string>& actual) {
  const std::string path = std::string(VELARND_SCENARIOS) + "/" + name;
  std::ifstream in(path);
  std::vector<std::string> expected;
  for (std::string line; std::getline(in, line);) {
    expected.push_back(line);
  }
  if (!in.eof()) {
    return testing::AssertionFailure() << "can't read " << path;
  }
  if (expected == actual) {
    return testing::AssertionSuccess();
  }
  size_t first = 0;
  while (first < expected.size() && first < actual.size() && expected[first] == actual[first]) {
    ++first;
  }
  return testing::AssertionFailure() << "the transcript differs from scenarios/" << name << " at line "
                                     << first + 1 << "\n  expected: "
                                     << (first < expected.size() ? expected[first] : "(end)")
                                     << "\n  actual:   " << (first < actual.size() ? actual[first] : "(end)")
                                     << "\nwhole transcript:\n"
                                     << testing::PrintToString(actual);
}

std::string SessionText(uint16_t session) {
  char text[8];
  std::snprintf(text, sizeof(text), "0x%04x", session);
  return text;
}

std::vector<Mask> UnitMasks() {
  return {{std::regex("\\btime=[0-9]+"), "time=T"}, {std::regex("session=0x[0-9a-f]+"), "session=S"}};
}

std::vector<Mask> NavMasks() { return {{std::regex("\\.(RecvAt|LMT)=[0-9]+"), ".$1=T"}}; }

void ScenarioTest::TearDown() {
  if (HasFailure()) {
    std::cout << "What each party printed:\n" << service.Outputs() << std::flush;
  }
}

const std::regex& NavStory() {
  static const std::regex story(
      "^(<-|->) "
      "(?!(CConnectionStateEvent|CFeaturesInfoEvent|CGPSFeedEvent|CLogbookStateEvent|CPrivacyStateEvent|"
      "CCurrentWorkingTimeStateEvent|CStatusListUpdatedEvent|CKeepAliveEvent)\\b)");
  return story;
}

const std::regex& ServerMessages() {
  static const std::regex messages("^(<-|->) msg ");
  return messages;
}

testing::AssertionResult End(Party& party) {
  party.CloseInput();
  int status = 0;
  if (!party.Finish(std::chrono::seconds(10), status)) {
    return testing::AssertionFailure() << party.Name() << " didn't end at the end of its input";
  }
  if (ExitCode(status) != 0) {
    return testing::AssertionFailure() << party.Name() << " ended with " << ExitCode(status);
  }
  return testing::AssertionSuccess();
}

}  // namespace e2e

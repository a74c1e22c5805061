#pragma once

// The whole service on loopback: the real velarnd binary, velarnctl unit in
// the role of the telematics unit and the dispatch server, and velarnctl nav
// in the role of the navigation application, each a child process. Scenarios
// feed the simulators their commands through standard input (the simulators'
// own `wait` lines sequence them), then compare what each party printed,
// filtered and with volatile values masked, with the transcripts kept in
// tests/velarnd/scenarios/.
//
// Every wait is bounded, and every child is killed when the rig goes away, so
// that a failing scenario never leaves a process behind.

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <regex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/Process.h"
#include "support/TempDir.h"

namespace e2e {

// One child process whose output is read line by line, like expect: Expect
// looks at the lines after the one that satisfied the previous Expect.
class Party {
 public:
  // pump, if given, is called while a wait polls: it reads the output of
  // the other parties, whose pipes would otherwise fill up and stall them.
  Party(const std::string& name, const std::vector<std::string>& argv, bool withInput,
        std::function<void()> pump = nullptr);
  ~Party();
  Party(const Party&) = delete;
  Party& operator=(const Party&) = delete;

  const std::string& Name() const { return name; }

  // Writes text to the standard input; CloseInput ends it.
  void Input(const std::string& text) { child.WriteInput(text); }
  void CloseInput() { child.CloseInput(); }
  void Signal(int signalNumber) { child.Signal(signalNumber); }

  // Waits for the next line that pattern matches anywhere; the matched line,
  // or a failure that shows the output. Gives up at once when the process has
  // ended and nothing more can come.
  testing::AssertionResult Expect(const std::string& pattern, std::chrono::milliseconds timeout);
  // The first line printed so far that pattern matches, or "" (ignores and
  // moves no cursor).
  std::string Find(const std::string& pattern);
  // Waits until Find finds a line; for lines whose moment relative to the
  // others varies.
  testing::AssertionResult WaitFor(const std::string& pattern, std::chrono::milliseconds timeout);
  // Waits for the end of the process; false on time-out. Status as waitpid's.
  bool Finish(std::chrono::milliseconds timeout, int& status);
  // Whether the process has ended (it is then reaped and its status kept).
  bool Ended();

  // The complete lines printed so far.
  std::vector<std::string> Lines();
  const std::string& Output() { return child.Output(); }

 private:
  void Pump();
  // Expect (afterCursor) and WaitFor.
  testing::AssertionResult Await(const std::string& pattern, std::chrono::milliseconds timeout,
                                 bool afterCursor);

  std::string name;
  testsupport::ChildProcess child;
  std::function<void()> pump;
  size_t cursor = 0;  // lines before it are used up by Expect
  bool ended = false;
  int status = 0;
};

// Exit status of a process that ended with exit(); -1 for anything else.
int ExitCode(int status);

// The daemon's files and addresses, kept across restarts of the daemon.
class Service {
 public:
  Service();

  const testsupport::TempDir& Dir() const { return dir; }
  std::string Socket() const { return dir.File("nav.sock"); }
  std::string DatabaseFile() const { return dir.File("velarnd.db"); }
  std::string ContextFile() const { return dir.File("velarnd.ctx"); }
  std::string GpsPipe() const { return dir.File("gps.pipe"); }

  // Starts velarnd in console mode (with a GPS pipe if asked).
  Party& StartDaemon(bool withGpsPipe = false);
  // Sends SIGTERM and waits (bounded, generously) for the end. Success when
  // the daemon ended with status 0; its output is shown otherwise.
  testing::AssertionResult StopDaemon();
  Party* Daemon() { return daemon.get(); }

  // velarnctl unit with the rig's addresses and further options, fed through
  // its standard input.
  Party& StartUnit(const std::vector<std::string>& options);
  Party& Unit() { return *unit; }
  // Ends the unit's input (it then ends by itself) and waits for its end.
  testing::AssertionResult StopUnit();

  // velarnctl nav on the daemon's socket, fed through its standard input. A
  // new one replaces the previous, which must have ended.
  Party& StartNav(const std::vector<std::string>& options = {});
  Party& Nav() { return *nav; }

  // Ends the navigation simulator's and the unit's input, then stops the
  // daemon: success when all three ended with status 0.
  testing::AssertionResult StopAll();

  // Every party's output, for the report of a failed scenario.
  std::string Outputs();

 private:
  // Reads what every running party has written so far.
  void DrainAll();

  testsupport::TempDir dir;
  uint16_t daemonPort;
  uint16_t unitPort;
  std::unique_ptr<Party> daemon;
  std::unique_ptr<Party> unit;
  std::unique_ptr<Party> nav;
  // Parties that ended, kept for the report.
  std::vector<std::unique_ptr<Party>> past;
  int daemonStarts = 0;
  int navStarts = 0;
};

// --- Transcripts ---

// A rule that replaces every match of a pattern.
struct Mask {
  std::regex pattern;
  std::string replacement;
};

// The lines that keep matches (anywhere), with the masks applied in order.
std::vector<std::string> Transcript(const std::vector<std::string>& lines, const std::regex& keep,
                                    const std::vector<Mask>& masks = {});

// Compares a transcript with the file; on a difference the message shows
// both and the first line where they part.
testing::AssertionResult MatchesScenarioFile(const std::string& name, const std::vector<std::string>& actual);

// A session number as velarnctl unit prints it: "0x3f1a".
std::string SessionText(uint16_t session);

// The masks of velarnctl unit's lines: event times and session numbers.
std::vector<Mask> UnitMasks();
// The masks of velarnctl nav's lines: the times of an order.
std::vector<Mask> NavMasks();

// The nav lines that tell a scenario's story; the others follow the link to
// the unit (connection state, features, logbook, statuses changed) at
// moments of their own.
const std::regex& NavStory();
// The unit's lines of server messages, both ways.
const std::regex& ServerMessages();

// Ends a simulator's input and waits (bounded) for it to end; true if it
// ended with status 0.
testing::AssertionResult End(Party& party);

// A scenario's fixture: the service's folder and ports, and on failure every
// party's whole output in the report.
class ScenarioTest : public ::testing::Test {
 protected:
  void TearDown() override;

  Service service;
};

}  // namespace e2e

// velarnctl unit against the daemon's own unit link: a VelarnDriver in this
// process, on loopback, whose events are recorded as lines.
#include <arpa/inet.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <condition_variable>
#include <cstdio>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

#include "common/Buffer.h"
#include "support/Ports.h"
#include "support/Process.h"
#include "support/TempDir.h"
#include "support/Wait.h"
#include "velarn/IVelarnEventHandler.h"
#include "velarn/NullFrameLayerFactory.h"
#include "velarn/Packet.h"
#include "velarn/PortReportingFactory.h"
#include "velarn/UDPLayer.h"
#include "velarn/VelarnDriver.h"

namespace {

using namespace std::chrono_literals;

sockaddr_in Loopback(uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = inet_addr("127.0.0.1");
  address.sin_port = htons(port);
  return address;
}

std::string Hex(const common::Buffer& buffer) {
  static const char digits[] = "0123456789abcdef";
  std::string text;
  for (unsigned i = 0; i < buffer.GetSize(); ++i) {
    text += digits[buffer.GetData()[i] >> 4];
    text += digits[buffer.GetData()[i] & 0x0F];
  }
  return text;
}

common::Buffer FromHex(const std::string& hex) {
  common::Buffer buffer(static_cast<unsigned>(hex.size() / 2), 200);
  for (size_t i = 0; i + 1 < hex.size(); i += 2) {
    buffer.Append(static_cast<unsigned char>(std::stoi(hex.substr(i, 2), nullptr, 16)));
  }
  return buffer;
}

// The daemon's events as lines: "connected 1", "message 0404... valid 1",
// "table 7=Free,9=On the way", "param GPF 01", "param-unknown GPF", ...
class EventLines : public velarn::IVelarnEventHandler {
 public:
  using Driver = velarn::IVelarnDriver;
  void OnConnected(Driver&, bool newSession) override { Add("connected " + std::to_string(newSession)); }
  void OnInterrupted(Driver&) override { Add("interrupted"); }
  void OnReceivedMessage(Driver&, const common::Buffer& message, bool valid) override {
    Add("message " + Hex(message) + " valid " + std::to_string(valid));
  }
  void OnStatusTableModified(Driver&, const std::vector<velarn::StatusTableRow>& table) override {
    std::string text = "table ";
    for (const velarn::StatusTableRow& row : table) {
      text += (text.size() > 6 ? "," : "") + std::to_string(row.key) + "=" + row.text;
    }
    Add(text);
  }
  void OnNewGPSFix(Driver&, const velarn::GPSFix& fix, const velarn::GPSFixEx& fixEx) override {
    Add("gps " + std::string(1, static_cast<char>(fix.status)) + " " + std::to_string(fix.latitude / 10000) +
        " " + std::to_string(fix.longitude / 10000) + " speed " + std::to_string(fix.speed) + " block " +
        std::string(1, static_cast<char>(fixEx.status)) + " " + std::to_string(fixEx.satelliteCount) + " " +
        std::to_string(fixEx.latitude == fix.latitude));
  }
  void OnNewLogbookInfo(Driver&, const velarn::LogbookData& logbook) override {
    Add("logbook " + std::to_string(logbook.mode) + " " + std::to_string(logbook.odometer) + " " +
        std::to_string(logbook.tripValid));
  }
  void OnZuParamRequest(Driver&, const std::string& name) override { Add("zu-param " + name); }
  void OnVelarnParamResponse(Driver&, const std::string& name, const common::Buffer& value) override {
    Add("param " + name + " " + Hex(value));
  }
  void OnVelarnParamNotFound(Driver&, const std::string& name) override { Add("param-unknown " + name); }
  void OnVelarnParamChanged(Driver&, const std::string& name) override { Add("param-changed " + name); }
  void OnNetworkRegistrationChanged(Driver&, unsigned status, unsigned extra) override {
    Add("registration " + std::to_string(status) + " " + std::to_string(extra));
  }

  // Waits until count lines begin with prefix.
  bool WaitFor(const std::string& prefix, size_t count = 1, std::chrono::milliseconds timeout = 10s) {
    std::unique_lock<std::mutex> lock(mutex);
    return changed.wait_for(lock, timeout, [&] { return CountLocked(prefix) >= count; });
  }
  std::vector<std::string> Starting(const std::string& prefix) {
    std::lock_guard<std::mutex> lock(mutex);
    std::vector<std::string> found;
    for (const std::string& line : lines) {
      if (line.compare(0, prefix.size(), prefix) == 0) {
        found.push_back(line);
      }
    }
    return found;
  }

 private:
  void Add(const std::string& line) {
    std::lock_guard<std::mutex> lock(mutex);
    lines.push_back(line);
    changed.notify_all();
  }
  size_t CountLocked(const std::string& prefix) const {
    size_t count = 0;
    for (const std::string& line : lines) {
      count += line.compare(0, prefix.size(), prefix) == 0 ? 1 : 0;
    }
    return count;
  }

  std::mutex mutex;
  std::condition_variable changed;
  std::vector<std::string> lines;
};

// The daemon's side, listening, and the simulator as a child process fed
// through its standard input.
struct Rig {
  testsupport::TempDir folder;
  uint16_t unitPort = testsupport::FreeUdpPort();
  EventLines events;
  linktest::PortReportingFactory rawFactory{Loopback(0), Loopback(unitPort)};
  velarn::NullFrameLayerFactory frameFactory;
  velarn::VelarnDriver driver{folder.File("daemon.ctx"), rawFactory, frameFactory};
  std::unique_ptr<testsupport::ChildProcess> unit;

  Rig() {
    driver.SetEventHandler(&events);
    driver.Start();
    driver.Listen();
  }
  ~Rig() {
    StopUnit();
    driver.Stop();
  }

  void StartUnit(const std::vector<std::string>& options = {}) {
    std::vector<std::string> argv = {VELARNCTL_BINARY, "unit",
                                     "--local",        "127.0.0.1:" + std::to_string(unitPort),
                                     "--peer",         "127.0.0.1:" + std::to_string(rawFactory.Port()),
                                     "--raw"};
    argv.insert(argv.end(), options.begin(), options.end());
    testsupport::ChildProcess::Options childOptions;
    childOptions.captureInput = true;
    unit.reset(new testsupport::ChildProcess(argv, childOptions));
  }
  // Ends the input and returns the exit status.
  int StopUnit() {
    if (!unit) {
      return -1;
    }
    unit->CloseInput();
    int status = 0;
    EXPECT_TRUE(unit->Wait(10s, status)) << "the simulator didn't end";
    output = unit->Output();
    unit.reset();
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  void Command(const std::string& line) { unit->WriteInput(line + "\n"); }
  // Whether the simulator printed text (lines may be given together); on
  // failure the message shows what it printed.
  testing::AssertionResult Printed(const std::string& text, std::chrono::milliseconds timeout = 10s) {
    if (unit->WaitForOutput(text, timeout)) {
      return testing::AssertionSuccess();
    }
    return testing::AssertionFailure() << "not printed: " << text << "\n--- output:\n" << unit->Output();
  }
  // Whether text was printed at least times times, counting all output.
  testing::AssertionResult PrintedTimes(const std::string& text, size_t times,
                                        std::chrono::milliseconds timeout = 10s) {
    if (testsupport::WaitUntil([&] { return Count(text) >= times; }, timeout)) {
      return testing::AssertionSuccess();
    }
    return testing::AssertionFailure() << "not printed " << times << " times: " << text << "\n--- output:\n"
                                       << Output();
  }
  std::string Output() { return unit ? unit->Output() : output; }
  size_t Count(const std::string& text) {
    const std::string all = Output();
    size_t count = 0;
    for (size_t at = all.find(text); at != std::string::npos; at = all.find(text, at + 1)) {
      ++count;
    }
    return count;
  }

  std::string output;  // of the last simulator that ended
};

// What `velarnctl msg encode` makes of {"id": "NewTextMessageInMsg", "nodes": {"1": 7, "2": "Hi"}}.
const char kTextMessage[] = "040401c2070240024869";
// TextMessageWorkflowEventOutMsg: time 300,000,000,000 ms, linkAge 0, message 1000, code 102.
const char kWorkflowEvent[] = "050801c800000045d964b80002c2008dc403e88ec266";

TEST(UnitCommandTest, OpensTheLinkAndAnswersGreetingParametersTableLogbook) {
  Rig rig;
  rig.StartUnit();
  rig.Command("param ZUK {\"id\": \"NewTextMessageInMsg\", \"nodes\": {\"1\": 7, \"2\": \"Hi\"}}");
  // The simulator reads its commands on a thread of its own: a slow machine
  // could have the daemon ask for ZUK before the value is set.
  ASSERT_TRUE(rig.Printed(std::string("param ZUK value=hex:") + kTextMessage));
  ASSERT_TRUE(rig.events.WaitFor("connected 1"));
  ASSERT_TRUE(rig.Printed("<- pdu 4:2"));
  // The greeting, in its order, each answered where it asks for something.
  const std::string out = rig.Output();
  const size_t b = out.find("<- pdu 4:B"), v = out.find("<- pdu 7:2 value=1"), l = out.find("<- pdu 1:1");
  ASSERT_NE(std::string::npos, b) << out;
  EXPECT_LT(b, v);
  EXPECT_LT(v, l);
  EXPECT_LT(l, out.find("<- pdu 4:2"));
  EXPECT_TRUE(rig.Printed("-> pdu 4:3 rows=0"));
  EXPECT_TRUE(rig.events.WaitFor("table "));  // an empty table is a complete one
  EXPECT_TRUE(rig.events.WaitFor("logbook 0 1234500 1"));

  // The two parameters the daemon reads, then a change of one of them.
  rig.driver.RequestParam("GPF");
  rig.driver.RequestParam("ZUK");
  // Requests are link-only: a link lost on a stalled machine loses them, which
  // the unit's output shows.
  ASSERT_TRUE(rig.events.WaitFor("param ZUK")) << rig.Output();
  EXPECT_EQ(std::vector<std::string>({"param GPF 01", std::string("param ZUK ") + kTextMessage}),
            rig.events.Starting("param "));
  rig.Command("change GPF notfound");
  ASSERT_TRUE(rig.events.WaitFor("param-changed GPF"));
  rig.driver.RequestParam("GPF");
  EXPECT_TRUE(rig.events.WaitFor("param-unknown GPF"));
  EXPECT_TRUE(rig.Printed("-> pdu 8:2 name=\"GPF\" value=notfound"));

  // The unit reads one of the daemon's parameters and prints the answer.
  rig.Command("read REL");
  ASSERT_TRUE(rig.events.WaitFor("zu-param REL"));
  common::Buffer release(16, 200);
  release.Append("vld0.0404", 9);
  rig.driver.SendParamResponse("REL", release);
  EXPECT_TRUE(rig.Printed("<- pdu 8:3 name=\"REL\" value=\"vld0.0404\""));

  // A new table is announced and read; the logbook answers with new values
  // and follows the mode the daemon sets.
  rig.Command("table 7=Free \"9=On the way\" 12='Back soon'");
  EXPECT_TRUE(rig.events.WaitFor("table 7=Free,9=On the way,12=Back soon"));
  rig.Command("logbook odometer=777 tripValid=0");
  ASSERT_TRUE(rig.Printed("logbook on mode=0 tripValid=0 odometer=777"));
  rig.driver.SetLogbookMode(2);
  EXPECT_TRUE(rig.events.WaitFor("logbook 2 777 0"));
  EXPECT_TRUE(rig.Printed("<- pdu 1:3 mode=2"));

  rig.Command("network roaming");
  EXPECT_TRUE(rig.events.WaitFor("registration 53 48"));
  rig.Command("gps once");
  // 48.13..N, 11.56..E (the built-in loop), 50 km/h, the block with 8
  // satellites in view and the same position.
  EXPECT_TRUE(rig.events.WaitFor("gps A 481"));
  EXPECT_EQ("gps A 4813 1157 speed 50 block A 8 1", rig.events.Starting("gps ").at(0));
  EXPECT_EQ(0, rig.StopUnit());
  EXPECT_NE(std::string::npos, rig.output.find("unit stopped")) << rig.output;
}

TEST(UnitCommandTest, CarriesServerMessagesBothWaysAndShowsThem) {
  Rig rig;
  rig.StartUnit();
  ASSERT_TRUE(rig.events.WaitFor("connected 1"));
  rig.Command("send {\"id\": \"NewTextMessageInMsg\", \"nodes\": {\"1\": 7, \"2\": \"Hi\"}}");
  rig.Command(std::string("send --invalid hex ") + kTextMessage);
  ASSERT_TRUE(rig.events.WaitFor("message ", 2));
  EXPECT_EQ(std::vector<std::string>({std::string("message ") + kTextMessage + " valid 1",
                                      std::string("message ") + kTextMessage + " valid 0"}),
            rig.events.Starting("message "));
  EXPECT_TRUE(rig.Printed("-> msg 0x0404 NewTextMessageInMsg messageId=7 text=\"Hi\""));

  // From the daemon: the one-line form with named fields, the tree below it.
  rig.driver.SendMessage(FromHex(kWorkflowEvent), "", velarn::Packet::kKeepForSession);
  EXPECT_TRUE(
      rig.Printed("<- pdu 4:7 size=22\n"
                  "<- msg 0x0508 TextMessageWorkflowEventOutMsg time=300000000000 linkAge=0 messageId=1000 "
                  "workflowCode=102\n"
                  "   Message 1288 with 4 MessageNode(s):\n"
                  "       [1] Integer: 300000000000 (Sat Jul  4 05:20:00 2009)\n"));
  // A server message of the server's own set is also shown with its fields,
  // and one that doesn't parse says why.
  rig.driver.SendMessage(FromHex("0404014002"), "office", velarn::Packet::kKeepForSession);
  EXPECT_TRUE(rig.Printed("<- pdu 4:7 size=5 recipient=\"office\"\n<- msg invalid ("));
  rig.driver.SendMessage(FromHex(kTextMessage), "", velarn::Packet::kKeepForSession);
  EXPECT_TRUE(rig.Printed("   NewTextMessageInMsg:\n     messageId: 7\n"));
  rig.Command("pdu 04 08 01 01 00 01");  // 4:8 with a one-byte message, no valid flag
  EXPECT_TRUE(rig.events.WaitFor("message 01 valid 0"));
}

TEST(UnitCommandTest, KeepsItsSessionThroughSilenceRestartsAndItsOwnContextFile) {
  Rig rig;
  const std::string context = rig.folder.File("unit.ctx");
  rig.StartUnit({"--context", context});
  ASSERT_TRUE(rig.events.WaitFor("connected 1")) << rig.Output();
  // The daemon's connect response may still be on its way to the unit; were
  // the link silenced now, the unit would never learn the session, and after
  // the silence it would rightly ask for a new one.
  ASSERT_TRUE(rig.PrintedTimes("link connected session=", 1));

  rig.Command("link down");
  ASSERT_TRUE(rig.events.WaitFor("interrupted")) << rig.Output();
  rig.Command("link up");
  ASSERT_TRUE(rig.events.WaitFor("connected 0")) << rig.Output();

  // Each restart follows the daemon's answer at once, while that answer may
  // not have reached the unit yet: it belongs to the unit's earlier run and
  // must not count for the next one.
  rig.Command("restart");
  ASSERT_TRUE(rig.events.WaitFor("connected 0", 2)) << rig.Output();
  rig.Command("restart new");
  ASSERT_TRUE(rig.events.WaitFor("connected 1", 2)) << rig.Output();
  // The unit holds the new session too (else its file would keep none), and
  // it is another one than the first.
  ASSERT_TRUE(rig.PrintedTimes(" new\n", 2));
  std::vector<std::string> sessions;
  std::istringstream lines(rig.Output());
  for (std::string line; std::getline(lines, line);) {
    if (line.compare(0, 23, "link connected session=") == 0 && line.size() > 4 &&
        line.compare(line.size() - 4, 4, " new") == 0) {
      sessions.push_back(line.substr(23, 6));
    }
  }
  ASSERT_EQ(2u, sessions.size()) << rig.Output();
  EXPECT_NE(sessions[0], sessions[1]) << rig.Output();

  // The unit goes away and keeps the session in its file; a server message
  // that the daemon queues meanwhile reaches the next run of the unit.
  EXPECT_EQ(0, rig.StopUnit());
  EXPECT_NE(std::string::npos, rig.output.find("context saved to " + context + ": session " + sessions[1]))
      << rig.output;
  ASSERT_TRUE(rig.events.WaitFor("interrupted", 4)) << rig.Output();
  rig.driver.SendMessage(FromHex(kWorkflowEvent), "", velarn::Packet::kKeepForSession);
  rig.StartUnit({"--context", context});
  ASSERT_TRUE(rig.events.WaitFor("connected 0", 3)) << rig.Output();
  EXPECT_TRUE(rig.Printed("context loaded from " + context));
  EXPECT_TRUE(rig.Printed("<- msg 0x0508 TextMessageWorkflowEventOutMsg"));
  EXPECT_EQ(2u, rig.events.Starting("connected 1").size());
}

TEST(UnitCommandTest, ScriptsFailLoudly) {
  testsupport::TempDir folder;
  const std::vector<std::string> base = {
      VELARNCTL_BINARY, "unit",   "--local",
      "127.0.0.1:0",    "--peer", "127.0.0.1:" + std::to_string(testsupport::FreeUdpPort())};
  auto run = [&base](const std::vector<std::string>& extra) {
    std::vector<std::string> argv = base;
    argv.insert(argv.end(), extra.begin(), extra.end());
    const testsupport::RunResult result = testsupport::Run(argv, 20s);
    EXPECT_TRUE(result.finished);
    return std::make_pair(WIFEXITED(result.status) ? WEXITSTATUS(result.status) : -1, result.output);
  };

  // A wait that times out ends the run at once with status 1.
  testsupport::WriteFile(folder.File("wait.txt"),
                         "# the link never comes up\necho ready\nwait ready 1\n"
                         "wait \"link connected\" 0.3\necho not reached\n");
  auto waited = run({"--script", folder.File("wait.txt")});
  EXPECT_EQ(1, waited.first) << waited.second;
  EXPECT_NE(std::string::npos, waited.second.find("wait.txt:4: wait timed out after 0.3 s: link connected"))
      << waited.second;
  EXPECT_EQ(std::string::npos, waited.second.find("not reached"));

  // A bad command stops a script with status 2 and names its line; a
  // message file is found beside the script.
  testsupport::WriteFile(folder.File("msg.json"), "{\"id\": \"ResetInMsg\"}");
  testsupport::WriteFile(folder.File("bad.txt"), "send @msg.json\ntable 1=a b\nfly away\n");
  auto bad = run({"--script", folder.File("bad.txt")});
  EXPECT_EQ(2, bad.first) << bad.second;
  EXPECT_NE(std::string::npos, bad.second.find("-> msg 0x0406 ResetInMsg (queued: link down)")) << bad.second;
  EXPECT_NE(std::string::npos, bad.second.find("bad.txt:2: table: usage: table [KEY=TEXT...]")) << bad.second;

  auto help = run({"--help"});
  EXPECT_EQ(0, help.first);
  for (const char* command : {"send", "pdu", "param", "change", "read", "table", "logbook", "network", "gps",
                              "link down", "restart", "loss", "wait", "sleep", "quit"}) {
    EXPECT_NE(std::string::npos, help.second.find(std::string("\n  ") + command)) << command;
  }
}

}  // namespace

#include "velarn/ApplicationLayer.h"

#include <gtest/gtest.h>

#include <memory>

#include "common/TimerMgr.h"
#include "support/ManualClock.h"
#include "velarn/ITransportLayer.h"
#include "velarn/LinkLog.h"
#include "velarn/TransportStack.h"
#include "velarn/pdu/OutgoingAppMsgs.h"
#include "velarn/pdu/UnitSidePDUs.h"

using linktest::Log;

namespace {

// Logs every payload handed down as "send <flags> <bytes>".
class FakeTransport : public velarn::ITransportLayer {
 public:
  explicit FakeTransport(Log& log) : log(log) {}
  void Connect() override {}
  void Listen() override {}
  void Disconnect() override {}
  void Send(unsigned flags, const common::Buffer& data) override {
    log.Add("send " + std::to_string(flags) + " " + linktest::Dump(data));
    if (fail) {
      throw std::runtime_error("transport failed");
    }
  }
  bool fail = false;

 private:
  Log& log;
};

class ThrowingEvents : public linktest::AppEventLog {
 public:
  using AppEventLog::AppEventLog;
  void OnZuParamRequest(const std::string& name) override {
    AppEventLog::OnZuParamRequest(name);
    throw std::runtime_error("handler failed");
  }
};

// An application layer between a logging transport and a logging handler;
// both write to one log, so their order shows. Timers don't run here.
struct Fixture {
  Log log;
  boost::recursive_mutex mutex;
  common::TimerMgr timers{mutex, 200};
  FakeTransport transport{log};
  ThrowingEvents events{log};
  velarn::ApplicationLayer layer{timers};
  common::Buffer pdu{64, 200};

  Fixture() {
    layer.SetTransport(&transport);
    layer.SetEventHandler(&events);
  }
  void Connect(bool newSession = true) {
    layer.OnConnected(newSession);
    log.Clear();
  }
  // A table of the given size announced by the unit.
  void TableSize(uint8_t rows) {
    velarn::WriteStatusTableSize(rows, true, pdu);
    layer.OnReceived(pdu);
  }
  void Row(uint8_t index, uint16_t key, const std::string& text) {
    velarn::StatusTableRow row;
    row.key = key;
    row.text = text;
    velarn::WriteStatusTableRow(index, row, pdu);
    layer.OnReceived(pdu);
  }
  void TableChanged() {
    velarn::WriteStatusTableChanged(pdu);
    layer.OnReceived(pdu);
  }
};

const std::string k4_2 = "send 1 04:02";

// The daemon hears of the link first, then the unit is greeted.
std::vector<std::string> Greeting(const char* connected, std::vector<std::string> after = {}) {
  std::vector<std::string> lines{connected, "send 1 04:0b", "send 1 07:02:01:01:00:01", "send 1 01:01", k4_2};
  lines.insert(lines.end(), after.begin(), after.end());
  return lines;
}

TEST(ApplicationLayerTest, GreetsOnEveryConnectionAfterTellingTheDaemon) {
  Fixture f;
  f.layer.OnConnected(true);
  EXPECT_EQ(Greeting("connected 1"), f.log.Lines());
  EXPECT_STREQ("wait-info", f.layer.GetReaderStateName());

  // A lost link says so after the reader forgot its state; a resumed session
  // is greeted all the same, and only the daemon hears the difference.
  f.log.Clear();
  f.layer.OnInterrupted();
  EXPECT_EQ((std::vector<std::string>{"interrupted"}), f.log.Lines());
  EXPECT_STREQ("disconnected", f.layer.GetReaderStateName());
  f.log.Clear();
  f.layer.OnConnected(false);
  EXPECT_EQ(Greeting("connected 0"), f.log.Lines());
}

TEST(ApplicationLayerTest, DownwardOperationsAndTheirFlags) {
  Fixture f;
  common::Buffer message(8, 200);
  message.Append(0x05);
  message.Append(0x01);
  common::Buffer value(8, 200);
  value.Append('7');
  f.layer.SendMessage(message, "", 2);
  f.layer.SendMessage(message, "ab", 4);
  f.layer.RequestLogbookInfo();
  f.layer.SetLogbookMode(3);
  f.layer.RequestParam("GPF");
  f.layer.SendParamResponse("NCI", value);
  f.layer.SendParamNotFound("XYZ");
  f.layer.NotifyParamChanged("REL");
  EXPECT_EQ((std::vector<std::string>{
                "send 2 04:07:01:02:00:05:01",
                "send 4 04:07:01:02:00:05:01:03:02:00:61:62",
                "send 1 01:01",
                "send 1 01:03:01:01:00:03",
                "send 1 01:01",
                "send 1 08:01:01:03:00:47:50:46",
                "send 1 08:03:01:03:00:4e:43:49:02:01:00:37",
                "send 1 08:03:01:03:00:58:59:5a",
                "send 1 08:05:01:03:00:52:45:4c",
            }),
            f.log.Lines());

  // A failing transport and a missing one are both silent.
  f.transport.fail = true;
  EXPECT_NO_THROW(f.layer.RequestLogbookInfo());
  f.layer.SetTransport(nullptr);
  f.log.Clear();
  f.layer.RequestLogbookInfo();
  f.layer.OnConnected(true);
  EXPECT_EQ((std::vector<std::string>{"connected 1"}), f.log.Lines());
}

TEST(ApplicationLayerTest, DecodedPDUsBecomeEvents) {
  Fixture f;
  f.Connect();
  common::Buffer& pdu = f.pdu;
  velarn::LogbookData logbook;
  logbook.mode = 2;
  logbook.odometer = 1234;
  velarn::WriteLogbookData(logbook, pdu);
  f.layer.OnReceived(pdu);
  common::Buffer server(4, 200);
  server.Append(0x01);
  server.Append(0x02);
  velarn::WriteServerMessage(server, true, pdu);
  f.layer.OnReceived(pdu);
  velarn::WriteNetworkRegistration('1', '4', pdu);
  f.layer.OnReceived(pdu);
  velarn::GPSFix fix;
  fix.status = 'A';
  fix.satellites = 5;
  velarn::GPSFixEx fixEx;
  fixEx.status = 'A';
  fixEx.satelliteCount = 0;
  velarn::WriteGPSFix(fix, &fixEx, pdu);
  f.layer.OnReceived(pdu);
  velarn::WriteParamValue("ZUK", &server, pdu);
  f.layer.OnReceived(pdu);
  velarn::WriteParamValue("GPF", nullptr, pdu);
  f.layer.OnReceived(pdu);
  velarn::WriteParamChanged("ZUK", pdu);
  f.layer.OnReceived(pdu);
  // The handler throws here; the layer doesn't care.
  velarn::WriteParamRead("NCI", pdu);
  EXPECT_NO_THROW(f.layer.OnReceived(pdu));
  // Undecodable payloads are dropped without a trace.
  for (const common::Buffer& bad : {linktest::ToBuffer({0x04}), linktest::ToBuffer({0x09, 0x09}),
                                    linktest::ToBuffer({0x04, 0x08, 0x03})}) {
    EXPECT_NO_THROW(f.layer.OnReceived(bad));
  }
  EXPECT_EQ((std::vector<std::string>{"logbook 2 1234", "message 01:02 valid 1", "registration 49 52",
                                      "gps A 5 0", "param-value ZUK 01:02", "param-unknown GPF",
                                      "param-changed ZUK", "zu-param NCI"}),
            f.log.Lines());
}

TEST(ApplicationLayerTest, StatusTableRowsInAnyOrderGiveOneCompleteTable) {
  Fixture f;
  f.Connect();
  f.TableSize(3);
  EXPECT_EQ((std::vector<std::string>{"send 1 04:04:01:01:00:00:02:01:00:02"}), f.log.Lines());
  EXPECT_STREQ("reading", f.layer.GetReaderStateName());
  f.log.Clear();
  f.Row(2, 30, "c");
  f.Row(0, 10, "a");
  f.Row(0, 11, "a2");  // again: the later one counts
  f.Row(7, 70, "x");   // past the count: ignored
  EXPECT_TRUE(f.log.Lines().empty());
  f.Row(1, 20, "b");
  EXPECT_EQ((std::vector<std::string>{"table 11=a2,20=b,30=c"}), f.log.Lines());
  EXPECT_STREQ("idle", f.layer.GetReaderStateName());

  // Known, the table ignores rows and counts until the unit says it changed.
  f.log.Clear();
  f.Row(0, 99, "late");
  f.TableSize(1);
  EXPECT_TRUE(f.log.Lines().empty());
  f.TableChanged();
  EXPECT_EQ((std::vector<std::string>{k4_2}), f.log.Lines());
  EXPECT_STREQ("wait-info", f.layer.GetReaderStateName());
  // Rows before the size is known are ignored as well.
  f.Row(0, 5, "early");
  f.TableSize(1);
  f.Row(0, 6, "one");
  EXPECT_EQ("table 6=one", f.log.Lines().back());

  // A table of one row asks for rows 0 to 0.
  EXPECT_EQ("send 1 04:04:01:01:00:00:02:01:00:00", f.log.Lines()[1]);
}

TEST(ApplicationLayerTest, StatusTableChangesAndRecountsRestartTheReading) {
  Fixture f;
  f.Connect();
  f.TableSize(2);
  f.Row(0, 1, "old");
  // 4:6 in the middle: what was read is dropped, the size asked again.
  f.log.Clear();
  f.TableChanged();
  EXPECT_EQ((std::vector<std::string>{k4_2}), f.log.Lines());
  f.TableSize(2);
  f.Row(1, 2, "new");
  EXPECT_EQ(0u, f.log.Count("table")) << "row 0 of the old reading counted";
  // A second 4:3 while reading starts over with the new count.
  f.TableSize(3);
  EXPECT_EQ("send 1 04:04:01:01:00:00:02:01:00:02", f.log.Lines().back());
  f.Row(0, 1, "a");
  f.Row(2, 3, "c");
  EXPECT_EQ(0u, f.log.Count("table")) << "row 1 of the old reading counted";
  f.Row(1, 2, "b");
  EXPECT_EQ("table 1=a,2=b,3=c", f.log.Lines().back());
  EXPECT_EQ(1u, f.log.Count("table"));

  // Zero rows, while waiting for the size or while reading: an empty table.
  f.log.Clear();
  f.TableChanged();
  f.TableSize(0);
  EXPECT_EQ((std::vector<std::string>{k4_2, "table "}), f.log.Lines());
  EXPECT_STREQ("idle", f.layer.GetReaderStateName());
  f.TableChanged();
  f.TableSize(4);
  f.Row(0, 1, "a");
  f.TableSize(0);
  EXPECT_EQ("table ", f.log.Lines().back());
  EXPECT_STREQ("idle", f.layer.GetReaderStateName());
}

TEST(ApplicationLayerTest, LinkLossOrStopWhileReadingReportsNoTable) {
  Fixture f;
  f.Connect();
  f.TableSize(2);
  f.Row(0, 1, "a");
  f.layer.OnInterrupted();
  EXPECT_STREQ("disconnected", f.layer.GetReaderStateName());
  // Rows that still come in after the loss go nowhere.
  f.Row(1, 2, "b");
  EXPECT_EQ(0u, f.log.Count("table"));
  // The next connection reads the table anew, from its size.
  f.log.Clear();
  f.layer.OnConnected(false);
  EXPECT_EQ(k4_2, f.log.Lines().back());
  f.TableSize(1);
  f.Row(0, 9, "z");
  EXPECT_EQ("table 9=z", f.log.Lines().back());
  EXPECT_EQ(1u, f.log.Count("table"));

  // Stop is quiet and forgets the reading too.
  f.TableChanged();
  f.TableSize(2);
  f.log.Clear();
  f.layer.Stop();
  EXPECT_TRUE(f.log.Lines().empty());
  EXPECT_STREQ("disconnected", f.layer.GetReaderStateName());
  f.layer.OnConnected(true);
  EXPECT_EQ(k4_2, f.log.Lines().back());
  f.TableSize(1);
  f.Row(0, 4, "d");
  EXPECT_EQ(Greeting("connected 1", {"send 1 04:04:01:01:00:00:02:01:00:00", "table 4=d"}), f.log.Lines());
}

TEST(ApplicationLayerTest, LogbookIsPolledEvery15SecondsWhileTheLinkIsUp) {
  testsupport::ManualClock clock;
  testsupport::ScopedClock installed(clock);
  Log log;
  boost::recursive_mutex mutex;
  common::TimerMgr timers(mutex, 20);
  FakeTransport transport(log);
  velarn::ApplicationLayer layer(timers);
  layer.SetTransport(&transport);
  timers.Start();
  {
    boost::recursive_mutex::scoped_lock lock(mutex);
    layer.OnConnected(true);  // the greeting asks once
  }
  const std::string poll = "send 1 01:01";
  for (const auto& [advance, polls] :
       std::vector<std::pair<uint64_t, size_t>>{{14999, 1}, {1, 2}, {15000, 3}}) {
    clock.Advance(advance);
    EXPECT_EQ(polls, log.Count(poll)) << "after " << advance << " ms more";
  }
  {
    boost::recursive_mutex::scoped_lock lock(mutex);
    layer.OnInterrupted();
  }
  clock.Advance(60000);
  EXPECT_EQ(3u, log.Count(poll));  // none while the link is down
  timers.Stop();
}

}  // namespace

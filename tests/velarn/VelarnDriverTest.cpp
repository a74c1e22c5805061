#include "velarn/VelarnDriver.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "common/Exceptions.h"
#include "support/TempDir.h"
#include "support/Thrown.h"
#include "support/Wait.h"
#include "velarn/ContextFile.h"
#include "velarn/LinkLog.h"
#include "velarn/NullFrameLayerFactory.h"
#include "velarn/PortReportingFactory.h"
#include "velarn/TransportStack.h"
#include "velarn/pdu/UnitSidePDUs.h"

using namespace std::chrono_literals;
using linktest::Bytes;
using linktest::Frame;
using linktest::Hex;
using linktest::Log;
using linktest::PortReportingFactory;
using linktest::ScriptedUnit;
using testsupport::Thrown;

namespace {

std::function<bool(const Frame&)> DataWith(const Bytes& payload) {
  return [payload](const Frame& frame) { return frame.IsData() && frame.Payload() == payload; };
}

const Bytes k4_B{0x04, 0x0B};
const Bytes k7_2{0x07, 0x02, 0x01, 0x01, 0x00, 0x01};
const Bytes k1_1{0x01, 0x01};
const Bytes k4_2{0x04, 0x02};

// A 4:7 as the application layer writes it, without a recipient.
Bytes ServerMessagePDU(const Bytes& message) {
  Bytes pdu{0x04, 0x07, 0x01, static_cast<uint8_t>(message.size()), 0x00};
  for (uint8_t byte : message) {
    pdu.push_back(byte);
  }
  return pdu;
}

// A driver on a loopback port with a context file in a fresh folder, the
// daemon's side logging its events, and the scripted unit.
struct Rig {
  testsupport::TempDir folder;
  ScriptedUnit unit;
  Log log;
  linktest::DriverEventLog events{log};
  PortReportingFactory rawFactory{linktest::Loopback(), unit.Address()};
  velarn::NullFrameLayerFactory frameFactory;
  velarn::VelarnDriver driver{folder.File("velarn.ctx"), rawFactory, frameFactory};

  Rig() { driver.SetEventHandler(&events); }
  void Start() {
    driver.Start();
    unit.SetDevice(rawFactory.made->GetBoundAddress());
  }
  // The unit opens the link and acknowledges the greeting; returns the
  // session. The data packets it saw go to greeting.
  uint16_t Connect(uint16_t session, std::vector<Frame>& greeting) {
    driver.Listen();
    const size_t before = log.Count("connected");
    const uint16_t result = unit.Connect(session);
    EXPECT_TRUE(log.WaitFor("connected", before + 1, 3000));
    ScriptedUnit::Options ack;
    ack.ackData = true;
    unit.skipped.clear();
    Frame last;
    EXPECT_TRUE(unit.WaitFor(DataWith(k4_2), last, 5000ms, ack));
    greeting.clear();
    for (const Frame& frame : unit.skipped) {
      if (frame.IsData()) {
        greeting.push_back(frame);
      }
    }
    greeting.push_back(last);
    unit.skipped.clear();
    return result;
  }
  // The greeting of every connection, in its order after what was queued.
  static void ExpectGreetingAt(const std::vector<Frame>& sent, size_t first) {
    ASSERT_EQ(first + 4, sent.size());
    const Bytes greeting[] = {k4_B, k7_2, k1_1, k4_2};
    for (size_t i = 0; i < 4; ++i) {
      EXPECT_EQ(greeting[i], sent[first + i].Payload()) << i;
      EXPECT_EQ(sent[first].Sequence() + i, sent[first + i].Sequence());
    }
  }
  uint16_t Connect(uint16_t session) {
    std::vector<Frame> greeting;
    return Connect(session, greeting);
  }
  std::unique_ptr<velarn::TransportLayerContext> StoredContext() {
    std::unique_ptr<velarn::ATransportLayerContext> context(
        velarn::ReadContextFile(folder.File("velarn.ctx")));
    return std::unique_ptr<velarn::TransportLayerContext>(
        dynamic_cast<velarn::TransportLayerContext*>(context.release()));
  }
};

TEST(VelarnDriverTest, RefusesCallsOutOfOrder) {
  Rig rig;
  velarn::VelarnDriver& driver = rig.driver;
  const common::Buffer empty(0, 200);
  const std::vector<std::function<void()>> calls = {
      [&] { driver.Connect(); },
      [&] { driver.Listen(); },
      [&] { driver.Disconnect(); },
      [&] { driver.IsConnected(); },
      [&] { driver.IsNewSession(); },
      [&] { driver.SendMessage(empty, "", 2); },
      [&] { driver.RequestLogbookInfo(); },
      [&] { driver.SetLogbookMode(1); },
      [&] { driver.RequestParam("GPF"); },
      [&] { driver.SendParamResponse("NCI", empty); },
      [&] { driver.SendParamNotFound("NCI"); },
      [&] { driver.NotifyParamChanged("REL"); },
  };
  for (const auto& call : calls) {
    EXPECT_EQ("driver isn't started", Thrown<InvalidOperationException>(call));
  }
  EXPECT_EQ("driver was stopped", Thrown<InvalidOperationException>([&] { driver.Stop(); }));
  rig.Start();
  EXPECT_EQ("driver was started", Thrown<InvalidOperationException>([&] { driver.Start(); }));
  EXPECT_FALSE(driver.IsConnected());
  EXPECT_FALSE(driver.IsNewSession());
  driver.Stop();
  EXPECT_EQ("driver was stopped", Thrown<InvalidOperationException>([&] { driver.Stop(); }));
  for (const auto& call : calls) {
    EXPECT_EQ("driver isn't started", Thrown<InvalidOperationException>(call));
  }

  // A port in use fails the start and leaves nothing running: the same
  // driver starts once the port is free.
  auto holder = std::make_unique<ScriptedUnit>();
  PortReportingFactory busyFactory(holder->Address(), rig.unit.Address());
  velarn::VelarnDriver busy(rig.folder.File("busy.ctx"), busyFactory, rig.frameFactory);
  EXPECT_EQ(0u, Thrown<IOException>([&] { busy.Start(); }).find("can't bind socket (errno "));
  EXPECT_EQ("driver isn't started", Thrown<InvalidOperationException>([&] { busy.IsConnected(); }));
  EXPECT_EQ(0u, Thrown<IOException>([&] { busy.Start(); }).find("can't bind socket (errno "));
  holder.reset();
  busy.Start();
  EXPECT_FALSE(busy.IsConnected());
  busy.Stop();
}

TEST(VelarnDriverTest, LastingMessagesSurviveARestartThroughTheContextFile) {
  Rig rig;
  rig.Start();
  std::vector<Frame> sent;
  const uint16_t session = rig.Connect(0, sent);
  ASSERT_NE(0, session);
  Rig::ExpectGreetingAt(sent, 0);
  EXPECT_EQ(1, sent[0].Sequence());
  EXPECT_TRUE(rig.driver.IsNewSession());

  // The unit goes silent: the link is lost, and the daemon hears of it.
  ASSERT_TRUE(rig.log.WaitFor("interrupted", 1, 6000));
  EXPECT_FALSE(rig.driver.IsConnected());
  // Queued while the link is down: a server message that waits for the
  // session, one that survives any session, and a parameter request that
  // lives only inside a link.
  rig.driver.SendMessage(linktest::ToBuffer({0x0A, 0x01}), "", velarn::Packet::kKeepForSession);
  rig.driver.SendMessage(linktest::ToBuffer({0x0B, 0x02}), "", velarn::Packet::kKeepAlways);
  rig.driver.RequestParam("GPF");
  rig.driver.Stop();
  std::unique_ptr<velarn::TransportLayerContext> stored = rig.StoredContext();
  ASSERT_TRUE(stored);
  EXPECT_EQ(session, stored->sessionId);
  EXPECT_EQ(2u, stored->packets.size());
  EXPECT_EQ(5, stored->txSequence);  // after the four packets of the greeting

  // Started again, the unit resumes the session: the stored messages go
  // out first with their old numbers, then the greeting.
  rig.Start();
  sent.clear();
  rig.driver.Listen();
  Frame response;
  ASSERT_EQ(session, rig.unit.Connect(session, &response));
  ASSERT_TRUE(rig.log.WaitFor("connected", 2, 3000));
  EXPECT_EQ("connected 0", rig.log.Lines().back());
  EXPECT_FALSE(rig.driver.IsNewSession());
  ScriptedUnit::Options ack;
  ack.ackData = true;
  Frame last;
  ASSERT_TRUE(rig.unit.WaitFor(DataWith(k4_2), last, 5000ms, ack));
  for (const Frame& frame : rig.unit.skipped) {
    if (frame.IsData()) {
      sent.push_back(frame);
    }
  }
  sent.push_back(last);
  Rig::ExpectGreetingAt(sent, 2);
  EXPECT_EQ(ServerMessagePDU({0x0A, 0x01}), sent[0].Payload());
  EXPECT_EQ(5, sent[0].Sequence());
  EXPECT_GE(sent[0].atUs - response.atUs, 499000);
  EXPECT_EQ(ServerMessagePDU({0x0B, 0x02}), sent[1].Payload());
  EXPECT_EQ(6, sent[1].Sequence());

  // Down again with two more lasting messages, and this time the unit
  // forgot the session: only the one that survives any session is sent.
  ASSERT_TRUE(rig.log.WaitFor("interrupted", 2, 6000));
  rig.driver.SendMessage(linktest::ToBuffer({0x0C}), "", velarn::Packet::kKeepForSession);
  rig.driver.SendMessage(linktest::ToBuffer({0x0D}), "", velarn::Packet::kKeepAlways);
  rig.driver.Stop();
  rig.Start();
  std::vector<Frame> afterNewSession;
  const uint16_t next = rig.Connect(0, afterNewSession);
  EXPECT_NE(session, next);
  EXPECT_EQ("connected 1", rig.log.Starting("connected").back().text);
  Rig::ExpectGreetingAt(afterNewSession, 1);
  EXPECT_EQ(ServerMessagePDU({0x0D}), afterNewSession[0].Payload());
  EXPECT_EQ(2, afterNewSession[0].Sequence());  // 1 went with the dropped head
  rig.driver.Stop();
}

// The daemon's handler may call the driver from its events; a stop while
// connected is quiet and keeps only what outlives a link.
class CallingBack : public linktest::DriverEventLog {
 public:
  using DriverEventLog::DriverEventLog;
  void OnConnected(velarn::IVelarnDriver& driver, bool newSession) override {
    DriverEventLog::OnConnected(driver, newSession);
    driver.SendMessage(linktest::ToBuffer({0x05, 0x01}), "", velarn::Packet::kKeepForSession);
  }
};

TEST(VelarnDriverTest, HandlerCallsBackAndStopWhileConnectedIsQuiet) {
  Rig rig;
  CallingBack handler(rig.log);
  rig.driver.SetEventHandler(&handler);
  rig.Start();
  std::vector<Frame> greeting;
  rig.Connect(0, greeting);
  // The handler's message was queued behind the greeting.
  Frame message;
  ASSERT_TRUE(rig.unit.WaitFor(DataWith(ServerMessagePDU({0x05, 0x01})), message, 2000ms));
  EXPECT_EQ(5, message.Sequence());
  EXPECT_TRUE(rig.driver.IsConnected());

  // Unacknowledged: a link-only request and a lasting message wait behind it.
  rig.driver.RequestParam("ZUK");
  rig.driver.SendMessage(linktest::ToBuffer({0x05, 0x02}), "", velarn::Packet::kKeepForSession);
  rig.driver.Stop();
  EXPECT_EQ(0u, rig.log.Count("interrupted"));
  std::unique_ptr<velarn::TransportLayerContext> stored = rig.StoredContext();
  ASSERT_TRUE(stored);
  ASSERT_EQ(2u, stored->packets.size());
  for (const velarn::Packet& packet : stored->packets) {
    EXPECT_EQ(velarn::Packet::kKeepForSession, packet.flags);
  }
  // The unacknowledged head keeps its number and its count for the resume.
  EXPECT_EQ(5, stored->txSequence);
  EXPECT_GE(stored->retryCount, 1u);
  EXPECT_EQ(ServerMessagePDU({0x05, 0x02}), linktest::ToBytes(stored->packets.back().data));
  rig.Start();
  EXPECT_FALSE(rig.driver.IsConnected());
  EXPECT_FALSE(rig.driver.IsNewSession());
  // Nor does one come late, out of the queue of the restarted driver.
  EXPECT_FALSE(rig.log.WaitFor("interrupted", 1, 300));
  rig.driver.Stop();
}

// Without a handler the events are consumed all the same (the unit's events
// reaching the handler are shown by the stop test below).
TEST(VelarnDriverTest, ConnectedFollowsWithoutHandler) {
  Rig rig;
  rig.driver.SetEventHandler(nullptr);
  rig.Start();
  rig.driver.Listen();
  ASSERT_NE(0, rig.unit.Connect(0));
  EXPECT_TRUE(testsupport::WaitUntil([&] { return rig.driver.IsConnected(); }, 3000ms));
  EXPECT_TRUE(rig.driver.IsNewSession());
  rig.driver.Disconnect();
  EXPECT_TRUE(testsupport::WaitUntil([&] { return !rig.driver.IsConnected(); }, 3000ms));
  rig.driver.Stop();
  EXPECT_TRUE(rig.log.Lines().empty());
}

// Callers on several threads, the unit's traffic on the receive thread, the
// timers and the event thread all at once; run under ThreadSanitizer too.
TEST(VelarnDriverTest, ConcurrentCallersWhileTheUnitTalks) {
  Rig rig;
  CallingBack handler(rig.log);
  rig.driver.SetEventHandler(&handler);
  rig.Start();
  rig.Connect(0);
  std::atomic<bool> stop(false);
  std::vector<std::thread> callers;
  for (int t = 0; t < 2; ++t) {
    callers.emplace_back([&rig, &stop, t] {
      for (int i = 0; i < 40 && !stop; ++i) {
        rig.driver.SendMessage(linktest::ToBuffer({0x06, static_cast<uint8_t>(t), static_cast<uint8_t>(i)}),
                               "", velarn::Packet::kKeepForSession);
        rig.driver.RequestLogbookInfo();
        (void)rig.driver.IsConnected();
        std::this_thread::sleep_for(2ms);
      }
    });
  }
  // The unit acknowledges everything and sends parameter reads meanwhile.
  ScriptedUnit::Options ack;
  ack.ackData = true;
  ack.keepLinkAlive = true;
  common::Buffer pdu(64, 200);
  size_t messages = 0;
  for (uint8_t sequence = 1; sequence <= 20; ++sequence) {
    velarn::WriteParamRead("NCI", pdu);
    rig.unit.SendData(sequence, linktest::ToBytes(pdu));
    for (const Frame& frame : rig.unit.Collect(50ms, ack)) {
      messages += frame.IsData() && frame.Payload().size() == 8 && frame.Payload()[1] == 0x07 ? 1 : 0;
    }
  }
  stop = true;
  for (std::thread& caller : callers) {
    caller.join();
  }
  EXPECT_TRUE(rig.log.WaitFor("zu-param NCI", 20, 3000));
  EXPECT_GT(messages, 0u);
  rig.driver.Stop();
}

}  // namespace

// Data the unit got an acknowledgement for that still waits in the event
// queue when the driver stops reaches the daemon, and the replies it causes
// go into the context file instead of being refused by a stopping driver.
TEST(VelarnDriverTest, StopDeliversAcknowledgedDataAndKeepsTheReplies) {
  struct SlowAnswering : linktest::DriverEventLog {
    using DriverEventLog::DriverEventLog;
    void OnReceivedMessage(Driver& driver, const common::Buffer& message, bool valid) override {
      std::this_thread::sleep_for(100ms);
      driver.SendMessage(message, "", velarn::Packet::kKeepForSession);
      DriverEventLog::OnReceivedMessage(driver, message, valid);
    }
  };
  Rig rig;
  SlowAnswering daemon(rig.log);
  rig.driver.SetEventHandler(&daemon);
  rig.Start();
  rig.Connect(0);
  for (uint8_t i = 1; i <= 3; ++i) {
    common::Buffer message(1, 200);
    message.Append(i);
    common::Buffer pdu(16, 200);
    velarn::WriteServerMessage(message, true, pdu);
    rig.unit.SendData(i, linktest::ToBytes(pdu));
    Frame ack;
    ASSERT_TRUE(
        rig.unit.WaitFor([i](const Frame& f) { return f.IsAck() && f.Sequence() == i; }, ack, 2000ms));
  }
  rig.driver.Stop();
  EXPECT_EQ((std::vector<std::string>{"connected 1", "message 01 valid 1", "message 02 valid 1",
                                      "message 03 valid 1"}),
            rig.log.Lines());
  const std::unique_ptr<velarn::TransportLayerContext> context = rig.StoredContext();
  ASSERT_NE(nullptr, context);
  size_t replies = 0;
  for (const velarn::Packet& packet : context->packets) {
    replies += packet.flags == velarn::Packet::kKeepForSession ? 1 : 0;
  }
  EXPECT_EQ(3u, replies);
}

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <boost/pointer_cast.hpp>

#include "bkcom/Actions.h"
#include "bkcom/BrenikCommunication.h"
#include "bkcom/EventLoop.h"
#include "bkcom/Events.h"
#include "bkcom/Text.h"
#include "bkmp/bkmp.h"
#include "common/Time.h"
#include "quorlan/ByteArrayMessageNode.h"
#include "quorlan/IntegerMessageNode.h"
#include "quorlan/Message.h"
#include "quorlan/StringMessageNode.h"
#include "support/TempDir.h"
#include "support/Wait.h"
#include "velarnd/ApplicationHarness.h"

using velarndtest::ApplicationRig;
using velarndtest::Deliver;
using velarndtest::FromServer;
using velarndtest::ServerMessage;
using namespace std::chrono_literals;

namespace {

typedef std::vector<std::string> Lines;

// The header of the event that a driver's text produces right now, as
// "linkAge=... unitPosition=..." without the time and the text.
std::string Header(ApplicationRig& rig) {
  CSendTextMessageAction action;
  action.actionId = 1;
  bkcom::CopyText(action.text, "x");
  Deliver(rig.application, action);
  const Lines server = rig.log.Of("server");
  rig.log.Take();
  const std::string prefix = "0x0504 TextMessageEventOutMsg time=T ";
  const std::string suffix = " text=\"x\"";
  if (server.size() != 1 || server[0].compare(0, prefix.size(), prefix) != 0 ||
      server[0].size() < prefix.size() + suffix.size()) {
    return "unexpected: " + (server.empty() ? std::string("nothing") : server[0]);
  }
  return server[0].substr(prefix.size(), server[0].size() - prefix.size() - suffix.size());
}

template <class Node>
boost::shared_ptr<Node> NodeOf(const common::Buffer& bytes, uint8_t key) {
  quorlan::Message message;
  message.Parse(bytes);
  return boost::dynamic_pointer_cast<Node>(message.GetNode(key));
}

std::string Bytes(const common::Buffer& buffer) {
  return std::string(reinterpret_cast<const char*>(buffer.GetData()), buffer.GetSize());
}

void Handshake(ApplicationRig& rig, unsigned keepAliveSeconds, const char* version = "1.0.5") {
  CBrenikInitVelarnAction init;
  init.actionId = 1;
  init.kaInterval = keepAliveSeconds;
  bkcom::CopyText(init.version, version);
  Deliver(rig.application, init);
}

}  // namespace

TEST(ApplicationCoreTest, TheEventHeaderCarriesTimeLinkAgePositionsAndTheUnitsFigures) {
  ApplicationRig rig;
  const uint64_t before = common::GetTimeMs();
  EXPECT_EQ("linkAge=-1", Header(rig));  // never connected, no position anywhere
  const uint64_t after = common::GetTimeMs();
  const auto time = NodeOf<quorlan::IntegerMessageNode>(rig.driver.messages.back(), 1);
  ASSERT_NE(nullptr, time);
  EXPECT_LE(static_cast<int64_t>(common::ToEpoch2000Ms(before)), time->GetValue());
  EXPECT_GE(static_cast<int64_t>(common::ToEpoch2000Ms(after)), time->GetValue());

  rig.driver.connected = true;
  rig.database.velarn.linkLostAt = common::GetTimeMs() - 60000;
  EXPECT_EQ("linkAge=0", Header(rig));
  rig.driver.connected = false;
  rig.database.velarn.linkLostAt = common::GetTimeMs() - 5300;  // whole seconds
  EXPECT_EQ("linkAge=5", Header(rig));
  rig.database.velarn.linkLostAt = 0;

  data::GPSInfo& unit = rig.database.velarn.gps;
  unit.position = data::Position(52123456, -1234567);
  unit.time = 1700000000;
  unit.satellites = 7;
  unit.speed = 88;
  unit.course = 359;  // the server counts steps of two degrees
  data::GPSInfo& navigation = rig.database.zu.gps;
  navigation.status = 'A';
  navigation.position = data::Position(48000000, 11000000);
  navigation.time = 1700000100;
  navigation.course = 90;
  const std::string fromUnit =
      "latitude=52123456 longitude=-1234567 time=753315200 satellites=7 course=179 speed=88}";
  const std::string fromNavigation =
      "latitude=48000000 longitude=11000000 time=753315300 satellites=0 course=45 speed=0}";

  // A live fix of the unit is enough; the navigation position stands in
  // only for a unit without one.
  unit.status = 'A';
  EXPECT_EQ("linkAge=-1 unitPosition={valid=true " + fromUnit, Header(rig));
  unit.status = 'L';
  EXPECT_EQ("linkAge=-1 unitPosition={valid=false " + fromUnit + " navigationPosition={valid=true " +
                fromNavigation,
            Header(rig));
  unit.status = 'V';
  navigation.status = 'L';
  EXPECT_EQ("linkAge=-1 navigationPosition={valid=false " + fromNavigation, Header(rig));
  navigation.status = 'V';

  rig.database.velarn.odometer = 123456;
  rig.database.velarn.tripValue = 77;
  const char* const modes[] = {
      "", " logbookMode=0", " logbookMode=1", " logbookMode=2", " logbookMode=3", " logbookMode=0"};
  for (int mode = 0; mode <= 5; ++mode) {
    rig.database.velarn.logbook.mode = static_cast<data::LogbookMode>(mode);
    EXPECT_EQ(std::string("linkAge=-1 odometer=1234 tripValue=77") + modes[mode], Header(rig))
        << "mode " << mode;
  }
}

TEST(ApplicationCoreTest, TheUnitLinkComesUpWithOrWithoutANewSession) {
  ApplicationRig rig;
  FromServer(rig, R"({"id": "NewTextMessageInMsg", "nodes": {"1": 1, "2": "x"}})");
  rig.application.OnStatusTableModified(rig.driver, {{1, "Start"}, {31, "Loading"}});
  rig.database.velarn.odometer = 500;
  rig.database.config.etaEnabled = true;
  rig.log.Take();

  rig.application.OnConnected(rig.driver, false);
  EXPECT_EQ(Lines({"nav CConnectionStateEvent Connected=true", "driver RequestParam GPF",
                   "driver RequestParam ZUK"}),
            rig.log.Take());
  EXPECT_EQ(500u, rig.database.velarn.odometer);
  EXPECT_TRUE(rig.database.config.etaEnabled);
  EXPECT_EQ(1u, rig.database.statuses.size());
  EXPECT_EQ(0u, rig.database.config.newSessionBoundary);

  // A new session voids what the daemon knew of the unit; the inbox stays,
  // with a boundary behind its newest key.
  rig.application.OnConnected(rig.driver, true);
  const Lines lines = rig.log.Take();
  ASSERT_EQ(8u, lines.size());
  EXPECT_EQ("nav CConnectionStateEvent Connected=true", lines[0]);
  EXPECT_EQ(0u, lines[1].find("nav CFeaturesInfoEvent ")) << lines[1];
  EXPECT_EQ(0u, lines[2].find("nav CLogbookStateEvent ")) << lines[2];
  EXPECT_EQ(0u, lines[3].find("nav CPrivacyStateEvent ")) << lines[3];
  EXPECT_EQ(Lines({"nav CStatusListUpdatedEvent Type=2", "nav CStatusListUpdatedEvent Type=1",
                   "driver RequestParam GPF", "driver RequestParam ZUK"}),
            Lines(lines.begin() + 4, lines.end()));
  EXPECT_EQ(0u, rig.database.velarn.odometer);
  EXPECT_FALSE(rig.database.config.etaEnabled);
  EXPECT_TRUE(rig.database.statuses.empty());
  EXPECT_TRUE(rig.database.orderStatuses.empty());
  EXPECT_EQ(2u, rig.database.config.newSessionBoundary);
  EXPECT_EQ(1u, rig.database.textMessages.size());
}

TEST(ApplicationCoreTest, LosingTheUnitLinkClosesTheFeedAndRemembersWhen) {
  ApplicationRig rig;
  rig.feeder.open = true;
  rig.database.velarn.gps.status = 'A';
  rig.database.zu.gps.status = 'A';
  const uint64_t before = common::GetTimeMs();
  rig.application.OnInterrupted(rig.driver);
  const uint64_t after = common::GetTimeMs();
  EXPECT_EQ(
      Lines({"gps Close", "nav CGPSFeedEvent Enabled=false", "nav CConnectionStateEvent Connected=false"}),
      rig.log.Take());
  EXPECT_LE(before, rig.database.velarn.linkLostAt);
  EXPECT_GE(after, rig.database.velarn.linkLostAt);
  EXPECT_EQ('L', rig.database.velarn.gps.status);  // last known now
  EXPECT_EQ('A', rig.database.zu.gps.status);      // the navigation side's fix is its own

  // With the feed closed already and no fix, only the link state goes out.
  rig.database.velarn.gps.status = 'V';
  rig.application.OnInterrupted(rig.driver);
  EXPECT_EQ(Lines({"nav CConnectionStateEvent Connected=false"}), rig.log.Take());
  EXPECT_EQ('V', rig.database.velarn.gps.status);
}

TEST(ApplicationCoreTest, ServerMessagesThatDontParseAreReportedWithTheirTextAndBytes) {
  ApplicationRig rig;
  common::Buffer truncated(8, 200);
  const unsigned char keyWithoutNode[] = {0x04, 0x01, 0x01};
  truncated.Append(keyWithoutNode, sizeof keyWithoutNode);
  const struct {
    common::Buffer bytes;
    std::string text;
  } cases[] = {
      {truncated, "idx is out of range"},
      {ServerMessage(R"({"id": "0x0407", "nodes": {"1": 1}})"), "unknown message"},
      {ServerMessage(R"({"id": "NewOrderInMsg", "nodes": {"1": 1, "2": "A", "3": 0, "5": 0, "7": false}})"),
       "missing node 4"},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.text);
    // Not valid on the link: dropped without a word.
    rig.application.OnReceivedMessage(rig.driver, each.bytes, false);
    EXPECT_TRUE(rig.log.Take().empty());

    const uint32_t before = common::GetTime();
    rig.application.OnReceivedMessage(rig.driver, each.bytes, true);
    const uint32_t after = common::GetTime();
    const Lines lines = rig.log.Take();
    ASSERT_EQ(1u, lines.size());
    EXPECT_EQ(0u, lines[0].find("server 0x05ff ErrorOutMsg errorCode=1 time=")) << lines[0];
    const common::Buffer& sent = rig.driver.messages.back();
    quorlan::Message error;
    error.Parse(sent);
    EXPECT_EQ(0x05FF, error.GetId());
    EXPECT_EQ(5u, error.GetNodes().size());
    EXPECT_EQ(1, NodeOf<quorlan::IntegerMessageNode>(sent, 1)->GetValue());
    const int64_t time = NodeOf<quorlan::IntegerMessageNode>(sent, 2)->GetValue();
    EXPECT_LE(static_cast<int64_t>(common::ToEpoch2000(before)), time);
    EXPECT_GE(static_cast<int64_t>(common::ToEpoch2000(after)), time);
    EXPECT_EQ("vld0.0404", NodeOf<quorlan::StringMessageNode>(sent, 3)->GetValue());
    EXPECT_EQ(each.text, NodeOf<quorlan::StringMessageNode>(sent, 4)->GetValue());
    EXPECT_EQ(Bytes(each.bytes), Bytes(NodeOf<quorlan::ByteArrayMessageNode>(sent, 5)->GetValue()));
  }
  EXPECT_TRUE(rig.database.orders.empty());
}

TEST(ApplicationCoreTest, TheKeepAliveRunsAtTheNamedIntervalUntilZeroOrTheApplicationLeaves) {
  testsupport::TempDir dir;
  ApplicationRig rig;
  rig.database.path = dir.File("velarnd.db");
  boost::recursive_mutex& mutex = rig.application.GetMutex();  // the timer thread writes the log under it
  auto keepAlives = [&] {
    boost::recursive_mutex::scoped_lock lock(mutex);
    size_t count = 0;
    for (const std::string& line : rig.log.lines) {
      count += line == "nav CKeepAliveEvent" ? 1 : 0;
    }
    return count;
  };
  auto clear = [&] {
    boost::recursive_mutex::scoped_lock lock(mutex);
    rig.log.Take();
  };
  rig.application.OnStart();

  Handshake(rig, 1);
  // It starts itself again after each beat.
  EXPECT_TRUE(testsupport::WaitUntil([&] { return keepAlives() >= 2; }, 10s));

  // An interval of 0 stops it. No beat may come within a window well over
  // the one-second interval and the timer's tick.
  Handshake(rig, 0);
  clear();
  EXPECT_FALSE(testsupport::WaitUntil([&] { return keepAlives() > 0; }, 1600ms));

  Handshake(rig, 1);
  EXPECT_TRUE(testsupport::WaitUntil([&] { return keepAlives() >= 1; }, 10s));
  rig.application.OnClientDisconnected();
  {
    boost::recursive_mutex::scoped_lock lock(mutex);
    EXPECT_EQ("driver Disconnect", rig.log.lines.back());
    rig.log.Take();
  }
  EXPECT_FALSE(testsupport::WaitUntil([&] { return keepAlives() > 0; }, 1600ms));

  // A later handshake in another version stops a running keep-alive too.
  Handshake(rig, 1);
  EXPECT_TRUE(testsupport::WaitUntil([&] { return keepAlives() >= 1; }, 10s));
  Handshake(rig, 1, "1.0.6");
  clear();
  EXPECT_FALSE(testsupport::WaitUntil([&] { return keepAlives() > 0; }, 1600ms));

  // Stopping writes the database.
  rig.application.OnStop();
  data::Database saved(dir.File("velarnd.db"));
  EXPECT_TRUE(saved.Load());
}

namespace {

// The navigation application's end of a connection, over the real library.
class Peer {
 public:
  ~Peer() { client.Close(); }

  bool Connect(const std::string& address, std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    for (;;) {
      BKMPConnection connection = nullptr;
      if (BKMPConnectionCreate(&connection, 20000) == BKMP_OK) {
        if (BKMPConnectionConnectTimeout(connection, address.c_str(), 1000000) == BKMP_OK) {
          client.SetConnection(connection);
          return true;
        }
        BKMPConnectionDestroy(connection);
      }
      if (std::chrono::steady_clock::now() >= deadline) {
        return false;
      }
      // Between two rounds of the loop nobody listens for a moment.
      std::this_thread::sleep_for(20ms);
    }
  }

  // The "MessageID" of the next message; -1 if none came in time or the
  // connection ended.
  int NextId(std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    do {
      BKMPMessage message = nullptr;
      const int code = BKMPConnectionReceive(client.GetConnection(), &message);
      if (code == BKMP_OK) {
        int8_t id = -1;
        BKMPGetFieldInt8(message, "MessageID", &id);
        BKMPMessageDestroy(message);
        return id;
      }
      if (code != BKMP_E_TIMEOUT) {
        return -1;
      }
    } while (std::chrono::steady_clock::now() < deadline);
    return -1;
  }

  bool Send(CVelarnMessage& message) { return message.Send(client); }

 private:
  CBrenikCommunicationClient client{nullptr};
};

// What the loop's thread, the unit's event thread and the test share. On the
// heap, and left behind should the threads lock each other up, so that the
// test fails instead of hanging.
struct LoopWorld {
  ApplicationRig rig;
  bkcom::EventLoop loop{50000};
  std::atomic<bool> stopFeeding{false};
  std::atomic<bool> loopEnded{false};
  std::atomic<bool> feederEnded{false};
  std::atomic<unsigned> fed{0};
};

}  // namespace

// The unit's event thread holds the application's lock while it sends to the
// navigation application, which takes the loop's lock; the loop takes its
// lock around connects and disconnects, whose hooks take the application's.
// New orders keep coming while applications connect and leave again: no
// deadlock, and every application hears the greeting first.
TEST(ApplicationCoreTest, UnitEventsBesideRepeatedConnectsNeitherDeadlockNorOvertakeTheGreeting) {
  testsupport::TempDir dir;
  const std::string address = dir.File("nav.sock");
  LoopWorld* world = new LoopWorld();
  world->rig.application.SetSender(nullptr);  // the loop sets itself
  std::thread loopThread([world, address] {
    world->loop.Run(world->rig.application, address);
    world->loopEnded = true;
  });
  std::thread feeder([world] {
    const auto deadline = std::chrono::steady_clock::now() + 60s;
    for (unsigned i = 0; !world->stopFeeding && std::chrono::steady_clock::now() < deadline; ++i) {
      FromServer(world->rig, R"({"id": "NewOrderInMsg", "nodes": {"1": )" + std::to_string(1 + i % 150) +
                                 R"(, "2": "N", "3": 0, "4": "T", "5": 0, "7": false}})");
      ++world->fed;
      // Transcripts aren't wanted here; keep memory flat.
      boost::recursive_mutex::scoped_lock lock(world->rig.application.GetMutex());
      world->rig.log.lines.clear();
      world->rig.driver.messages.clear();
    }
    world->feederEnded = true;
  });

  for (unsigned round = 0; round < 20 && !HasFailure(); ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    // No ASSERT here: the threads must be stopped below whatever happens.
    Peer peer;
    if (!peer.Connect(address, 10s)) {
      ADD_FAILURE() << "nobody listens";
      break;
    }
    EXPECT_EQ(CVelarnInitBrenikAction::kId, peer.NextId(10s));
    CBrenikInitVelarnAction init;
    init.actionId = 100 + round;
    bkcom::CopyText(init.version, "1.0.5");
    if (!peer.Send(init)) {
      ADD_FAILURE() << "the connection was lost";
      break;
    }
    // The answer comes among the orders that the other thread sends.
    bool acknowledged = false;
    bool order = false;
    for (int received = 0; received < 100000 && !(acknowledged && order); ++received) {
      const int id = peer.NextId(10s);
      if (id < 0) {
        break;
      }
      acknowledged = acknowledged || id == CAcknowledge::kId;
      order = order || id == COrderReceivedEvent::kId;
    }
    EXPECT_TRUE(acknowledged);
    EXPECT_TRUE(order);
  }
  const unsigned fedDuringRounds = world->fed;

  world->stopFeeding = true;
  const bool feederDone = testsupport::WaitUntil([world] { return world->feederEnded.load(); }, 10s);
  world->loop.Stop();
  const bool loopDone = testsupport::WaitUntil([world] { return world->loopEnded.load(); }, 10s);
  if (!feederDone || !loopDone) {
    ADD_FAILURE() << "deadlock: feeder done " << feederDone << ", loop done " << loopDone;
    feeder.detach();
    loopThread.detach();
    return;  // world stays behind on purpose
  }
  feeder.join();
  loopThread.join();
  EXPECT_LT(0u, fedDuringRounds);
  delete world;
}

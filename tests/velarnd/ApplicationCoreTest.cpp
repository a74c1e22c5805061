#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <boost/pointer_cast.hpp>
#include <chrono>
#include <functional>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "bkcom/Actions.h"
#include "bkcom/EventLoop.h"
#include "bkcom/Events.h"
#include "bkcom/IMessageSender.h"
#include "bkcom/Text.h"
#include "common/Time.h"
#include "quorlan/IntegerMessageNode.h"
#include "quorlan/Message.h"
#include "support/ManualClock.h"
#include "support/TempDir.h"
#include "support/Wait.h"
#include "velarn/pdu/GPSFix.h"
#include "velarn/pdu/LogbookData.h"
#include "velarnctl/MsgHex.h"
#include "velarnctl/NavActions.h"
#include "velarnctl/NavSession.h"
#include "velarnd/ApplicationHarness.h"

using namespace velarndtest;
using namespace std::chrono_literals;

namespace {

// The header of the event that a driver's text produces right now, as
// "linkAge=... unitPosition=..." without the time and the text.
std::string Header(ApplicationRig& rig) {
  CSendTextMessageAction action;
  Deliver(rig.application, action);
  const Lines lines = rig.log.Take();
  static const std::regex event("^server 0x0504 TextMessageEventOutMsg time=T (.*) text=\"\"$");
  std::smatch header;
  return lines.size() == 2 && std::regex_match(lines[1], header, event) ? header[1].str() : "unexpected";
}

template <class Node>
boost::shared_ptr<Node> NodeOf(const common::Buffer& bytes, uint8_t key) {
  quorlan::Message message;
  message.Parse(bytes);
  return boost::dynamic_pointer_cast<Node>(message.GetNode(key));
}

bool FileHolds(const std::string& path, unsigned orders, unsigned textMessages) {
  data::Database stored(path);
  return stored.Load() && stored.orders.size() == orders && stored.textMessages.size() == textMessages;
}

// Counts what the application asks of the event loop from its timer thread.
class DropCounter : public bkcom::IMessageSender {
 public:
  void Send(CVelarnMessage&) override {}
  void DropClient() override { ++drops; }
  std::atomic<int> drops{0};
};

const char kGreeting[] = "nav CVelarnInitBrenikAction ActionId=2 Version=\"1.0.5\" NavStateUpdate=60";
// What follows the unread entries once the versions agree.
const Lines kListening = {Logbook(2, 10), Privacy(false), "driver NotifyParamChanged NCI", "driver Listen"};

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
  rig.database.velarn.linkLostAt = common::GetTimeMs() + 3600000;  // clock set back since
  EXPECT_EQ("linkAge=0", Header(rig));
  rig.database.velarn.linkLostAt = 0;

  // The navigation application counts in hundred-thousandths of a degree;
  // without a fix its last position is kept, marked as such.
  CGPSEvent position;
  position.val = true;
  position.lat = 4800000;
  position.lon = -1100000;
  position.ts = 1700000100;
  position.speed = 50;
  position.course = 91;  // the server counts steps of two degrees
  position.sat = 7;
  Deliver(rig.application, position);
  const std::string fromNavigation =
      "latitude=48000000 longitude=-11000000 time=753315300 satellites=7 course=45 speed=50}";
  EXPECT_EQ("linkAge=-1 navigationPosition={valid=true " + fromNavigation, Header(rig));
  position.val = false;
  position.lat = 1;
  Deliver(rig.application, position);
  EXPECT_EQ("linkAge=-1 navigationPosition={valid=false " + fromNavigation, Header(rig));

  // A live fix of the unit stands alone; the navigation position stands in
  // only for a unit without one.
  velarn::GPSFix fix;
  fix.status = 'A';
  fix.latitude = 52123456;
  fix.longitude = -1234567;
  fix.time = 753315200;
  fix.satellites = 6;
  fix.speed = 88;
  fix.course = 359;
  fix.tripValue = 77;
  rig.application.OnNewGPSFix(rig.driver, fix, velarn::GPSFixEx());
  const std::string fromUnit =
      "latitude=52123456 longitude=-1234567 time=753315200 satellites=6 course=179 speed=88}";
  EXPECT_EQ("linkAge=-1 unitPosition={valid=true " + fromUnit + " tripValue=77", Header(rig));
  rig.database.velarn.gps.status = 'L';
  EXPECT_EQ("linkAge=-1 unitPosition={valid=false " + fromUnit + " navigationPosition={valid=false " +
                fromNavigation + " tripValue=77",
            Header(rig));

  // The unit's odometer and logbook mode, the latter in the server's numbering.
  rig.database.velarn.gps.status = 'V';
  rig.database.zu.gps.status = 'V';
  velarn::LogbookData logbook;
  logbook.odometer = 123456;
  const char* const modes[] = {
      "", " logbookMode=0", " logbookMode=1", " logbookMode=2", " logbookMode=3", " logbookMode=0"};
  for (int mode = 0; mode <= 5; ++mode) {
    logbook.mode = static_cast<uint32_t>(mode);
    rig.application.OnNewLogbookInfo(rig.driver, logbook);
    rig.log.Take();
    EXPECT_EQ(std::string("linkAge=-1 odometer=1234 tripValue=77") + modes[mode], Header(rig))
        << "mode " << mode;
  }
}

TEST(ApplicationCoreTest, TheUnitLinkComesUpWithOrWithoutANewSession) {
  ApplicationRig rig;
  NewText(rig, 1);
  rig.application.OnStatusTableModified(rig.driver, {{1, "Start"}, {31, "Loading"}});
  rig.database.velarn.gpsFeedEnabled = true;
  rig.database.config.workingTimeEnabled = true;
  rig.log.Take();

  rig.application.OnConnected(rig.driver, false);
  EXPECT_EQ(Lines({"nav CConnectionStateEvent Connected=true", "driver RequestParam GPF",
                   "driver RequestParam ZUK"}),
            rig.log.Take());
  EXPECT_EQ(1u, rig.database.statuses.size());
  EXPECT_EQ(0u, rig.database.config.newSessionBoundary);

  // A new session voids what the daemon knew of the unit and its statuses;
  // the inbox stays, with a boundary behind its newest key.
  rig.application.OnConnected(rig.driver, true);
  EXPECT_EQ(
      Lines({"nav CConnectionStateEvent Connected=true",
             "nav CFeaturesInfoEvent WTR=false Logbook=false AskDriverId=false GpsFeed=false", Logbook(2, 10),
             Privacy(false), "nav CStatusListUpdatedEvent Type=2", "nav CStatusListUpdatedEvent Type=1",
             "driver RequestParam GPF", "driver RequestParam ZUK"}),
      rig.log.Take());
  EXPECT_TRUE(rig.database.statuses.empty() && rig.database.orderStatuses.empty());
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
    const int64_t time = NodeOf<quorlan::IntegerMessageNode>(rig.driver.messages.back(), 2)->GetValue();
    EXPECT_LE(static_cast<int64_t>(common::ToEpoch2000(before)), time);
    EXPECT_GE(static_cast<int64_t>(common::ToEpoch2000(after)), time);
    EXPECT_EQ("server 0x05ff ErrorOutMsg errorCode=1 time=" + std::to_string(time) +
                  " release=\"vld0.0404\" text=\"" + each.text +
                  "\" data=hex:" + velarnctl::BufferToHex(each.bytes),
              lines[0]);
  }
  EXPECT_TRUE(rig.database.orders.empty());
}

TEST(ApplicationCoreTest, TheKeepAliveAndTheLinkAgeFollowTheMonotonicClock) {
  testsupport::ManualClock clock;
  testsupport::ScopedClock installed(clock);
  ApplicationRig rig;
  auto keepAlives = [&] {
    boost::recursive_mutex::scoped_lock lock(rig.application.GetMutex());
    return std::count(rig.log.lines.begin(), rig.log.lines.end(), "nav CKeepAliveEvent");
  };
  rig.application.OnStart();
  // A beat every second, each one starting the next; setting the wall clock
  // (from GPS or the network) in between moves neither the beat nor the
  // link age.
  Handshake(rig, "1.0.5", 1);
  clock.Advance(500);
  clock.StepWall(3600000);
  clock.Advance(499);
  EXPECT_EQ(0, keepAlives());
  clock.Advance(1);
  EXPECT_EQ(1, keepAlives());
  clock.Advance(1000);
  EXPECT_EQ(2, keepAlives());
  rig.application.OnInterrupted(rig.driver);
  clock.StepWall(-7200000);
  clock.Advance(5300);
  rig.log.Take();
  EXPECT_EQ("linkAge=5", Header(rig));
  // An interval of 0, the application leaving, or a handshake in another
  // version each stop it.
  const std::vector<std::function<void()>> stops = {
      [&] { Handshake(rig, "1.0.5", 0); },
      [&] {
        rig.application.OnClientDisconnected();
        EXPECT_EQ("driver Disconnect", rig.log.lines.back());
      },
      [&] { Handshake(rig, "1.0.6", 1); },
  };
  for (size_t i = 0; i < stops.size(); ++i) {
    if (i > 0) {
      Handshake(rig, "1.0.5", 1);
    }
    stops[i]();
    rig.log.Take();
    clock.Advance(5000);
    EXPECT_EQ(0, keepAlives()) << "stop " << i;
  }
  rig.application.OnStop();
}

namespace {

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
      NewOrder(world->rig, 1 + i % 150);
      ++world->fed;
      // Transcripts aren't wanted here; keep memory flat.
      boost::recursive_mutex::scoped_lock lock(world->rig.application.GetMutex());
      world->rig.log.lines.clear();
      world->rig.driver.messages.clear();
    }
    world->feederEnded = true;
  });

  velarnctl::NavActionParser parser{velarnctl::NavSettings()};
  for (unsigned round = 0; round < 20 && !HasFailure(); ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    // No ASSERT here: the threads must be stopped below whatever happens.
    std::ostringstream transcript;
    velarnctl::NavSession peer(parser, true, transcript, velarnctl::OutputForm::Raw);
    if (!peer.Connect(address, 10s)) {
      ADD_FAILURE() << "nobody listens";
      break;
    }
    peer.Start();
    // The answer to the handshake comes among the orders that the other
    // thread sends.
    EXPECT_EQ(velarnctl::NavSession::WaitResult::Matched, peer.Wait(std::regex("^CAcknowledge "), 10s));
    EXPECT_EQ(velarnctl::NavSession::WaitResult::Matched,
              peer.Wait(std::regex("^COrderReceivedEvent "), 10s));
    peer.Close();
    EXPECT_EQ(0u, transcript.str().find("# connected to " + address + "\n<- CVelarnInitBrenikAction "))
        << transcript.str().substr(0, 300);
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

// Between two stops the database reaches the disk within a checkpoint of a
// change, so that a power cut loses seconds, not the day; an unchanged
// database isn't written again.
TEST(ApplicationCheckpointTest, WritesChangesWhileRunningAndOnlyChanges) {
  testsupport::TempDir folder;
  const std::string path = folder.File("velarnd.db");
  testsupport::ManualClock clock;
  testsupport::ScopedClock installed(clock);
  ApplicationRig rig;
  rig.database.path = path;
  const uint64_t checkpoint = velarnd::Application::kCheckpointMs;

  rig.application.OnStart();
  // Nothing changed yet: no file appears.
  clock.Advance(2 * checkpoint);
  EXPECT_FALSE(FileHolds(path, 0, 0));

  NewOrder(rig, 7);
  clock.Advance(checkpoint);
  EXPECT_TRUE(FileHolds(path, 1, 0));
  NewText(rig, 3);
  clock.Advance(checkpoint);
  EXPECT_TRUE(FileHolds(path, 1, 1));

  // The stop writes whatever is left, at once.
  FromServer(rig, R"({"id": "CancelOrderInMsg", "nodes": {"1": 7}})");
  rig.application.OnStop();
  EXPECT_TRUE(FileHolds(path, 0, 1));
}

// A navigation application that connects and never answers the greeting is
// let go after the handshake's time-out; one that answers stays.
TEST(ApplicationPeersTest, AnApplicationThatNeverAnswersTheGreetingIsLetGo) {
  ApplicationRig rig;
  DropCounter loop;
  rig.application.SetSender(&loop);
  rig.application.SetHandshakeTimeout(200);
  rig.application.OnStart();

  rig.application.OnClientConnected();
  EXPECT_TRUE(testsupport::WaitUntil([&] { return loop.drops == 1; }, 5s));
  rig.application.OnClientDisconnected();

  // Answered, in the right version or another: the application stays.
  for (const char* version : {"1.0.5", "0.9"}) {
    rig.application.OnClientConnected();
    CBrenikInitVelarnAction answer;
    answer.actionId = 3;
    bkcom::CopyText(answer.version, version);
    Deliver(rig.application, answer);
    std::this_thread::sleep_for(600ms);
    EXPECT_EQ(1, loop.drops) << version;
    rig.application.OnClientDisconnected();
  }
  rig.application.OnStop();
}

TEST(ApplicationHandshakeTest, GreetsThenListensOnlyForTheSameVersion) {
  ApplicationRig rig;
  // Fixes kept across the gap count as last known.
  rig.database.velarn.gps.status = 'A';
  rig.database.zu.gps.status = 'A';
  rig.application.OnClientConnected();
  EXPECT_EQ(Lines({kGreeting}), rig.log.Take());
  EXPECT_EQ('L', rig.database.velarn.gps.status);
  EXPECT_EQ('L', rig.database.zu.gps.status);

  Handshake(rig, "1.0.4");
  EXPECT_EQ(Lines({"nav CAcknowledge ActionId=1 Error=2", "driver Disconnect"}), rig.log.Take());

  Handshake(rig);
  EXPECT_EQ(Lines({"nav CAcknowledge ActionId=1 Error=1", Logbook(2, 10), Privacy(false),
                   "driver NotifyParamChanged NCI", "driver Listen"}),
            rig.log.Take());

  // The second greeting counts its id on; no fix stays none.
  rig.database.velarn.gps.status = 'V';
  rig.application.OnClientConnected();
  EXPECT_EQ(Lines({"nav CVelarnInitBrenikAction ActionId=3 Version=\"1.0.5\" NavStateUpdate=60"}),
            rig.log.Take());
  EXPECT_EQ('V', rig.database.velarn.gps.status);
}

// After a restart the scenarios show the same with the stored inbox.
TEST(ApplicationHandshakeTest, EachAnswerBringsExactlyTheUnreadEntriesNewestFirstAndTheActiveOrder) {
  ApplicationRig rig;
  NewOrder(rig, 1);         // key 2, read below
  NewText(rig, 7, "seen");  // 3, read
  NewOrder(rig, 2, true);   // 4
  NewText(rig, 8, "news");  // 5
  NewOrder(rig, 3);         // 6, started below
  NewOrder(rig, 4);         // 7
  OrderAction<CMarkReadOrderAction>(rig, 1, 1);
  OrderAction<CMarkReadOrderAction>(rig, 2, 3);
  OrderAction<CStartOrderAction>(rig, 3, 3);
  CMarkReadTextMessageAction readText;
  readText.msgId = 7;
  Deliver(rig.application, readText);
  rig.application.OnClientConnected();
  rig.log.Take();
  Lines expected = {
      "nav CAcknowledge ActionId=1 Error=1",
      OrderLine("COrderReceivedEvent", 4, 7, 0),
      "nav CTextMessageReceivedEvent Msg_.Id=8 Msg_.SKey=5 Msg_.Read=false Msg_.Text=\"news\"",
      OrderLine("COrderReceivedEvent", 2, 4, 1),
      OrderLine("COrderModifiedEvent", 3, 6, 9, " Remote=false"),
  };
  expected.insert(expected.end(), kListening.begin(), kListening.end());
  for (int answer = 1; answer <= 2; ++answer) {
    Handshake(rig);
    EXPECT_EQ(expected, Untimed(rig.log.Take())) << "answer " << answer;
  }
}

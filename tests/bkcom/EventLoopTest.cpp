#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <boost/thread/recursive_mutex.hpp>

#include "CatalogueFields.h"
#include "LoopHarness.h"
#include "bkcom/Actions.h"
#include "bkcom/Events.h"
#include "bkcom/MessageCatalogue.h"
#include "bkcom/Text.h"
#include "bkmp/bkmp.h"
#include "support/TempDir.h"
#include "support/Wait.h"

namespace {

using namespace bkcomtest;
using bkcom::MessageInfo;

// An object of the class, its members filled from the catalogue's values.
std::unique_ptr<CVelarnMessage> Filled(const MessageInfo& info) {
  CBrenikCommunicationMessage source;
  source.Create();
  FillMessage(source, info, 1);
  std::unique_ptr<CVelarnMessage> message(info.create());
  EXPECT_TRUE(message->Decode(source)) << info.className;
  return message;
}

// The daemon's first word at every connection, as the application sends it.
void SendInit(RecordingLoopHandler& handler) {
  CVelarnInitBrenikAction init;
  init.actionId = 2;
  bkcom::CopyText(init.version, "1.0.5");
  init.navStateUpdate = 60;
  handler.SendEvent(init);
}

class EventLoopTest : public ::testing::Test {
 protected:
  testsupport::TempDir dir;
  const std::string address = dir.File("nav.sock");
  RecordingLoopHandler handler;
  bkcom::EventLoop loop{kTestLibraryTimeout};
};

TEST_F(EventLoopTest, StopBeforeRunOnlyStartsAndStops) {
  loop.Stop();
  loop.Run(handler, address);
  EXPECT_EQ((std::vector<std::string>{"GetMessageFactory", "OnStart", "OnStop"}), handler.Hooks());
  // Run leaves the handler without a sender: later sends go nowhere.
  CKeepAliveEvent keepAlive;
  handler.SendEvent(keepAlive);
}

// Two applications one after the other, the second one there at Stop():
// the hooks come in order, the handshake's message first on each connection
// (nothing sent between them), a third finds no server while one is
// attached, and Stop() detaches before OnStop.
TEST_F(EventLoopTest, HooksInOrderOverTwoApplicationsAndStopWhileAttached) {
  handler.onConnected = &SendInit;
  LoopThread running(loop, handler, address);

  for (int round = 1; round <= 2; ++round) {
    SCOPED_TRACE(round);
    TestPeer peer;
    ASSERT_EQ(BKMP_OK, peer.Connect(address));
    std::unique_ptr<CBrenikCommunicationMessage> first = peer.Receive();
    ASSERT_NE(nullptr, first);
    EXPECT_EQ(CVelarnInitBrenikAction::kId, MessageIdOf(*first));
    ASSERT_TRUE(handler.WaitForHook("OnClientConnected", round));
    if (round == 1) {
      TestPeer second;  // finds no server while one is attached
      EXPECT_NE(BKMP_OK, second.ConnectOnce(address));
      peer.Close();  // the application goes away
      ASSERT_TRUE(handler.WaitForHook("OnClientDisconnected", 1));
      COrderDeletedEvent late;  // sent while nobody is attached: goes nowhere
      handler.SendEvent(late);
    } else {
      ASSERT_TRUE(running.Stop());
      EXPECT_TRUE(peer.WaitForClose());
    }
  }
  EXPECT_EQ(
      (std::vector<std::string>{"GetMessageFactory", "OnStart", "OnClientConnected", "OnClientDisconnected",
                                "OnClientConnected", "OnClientDisconnected", "OnStop"}),
      handler.Hooks());
}

TEST_F(EventLoopTest, BothSidesExchangeEveryClassWithAllFields) {
  LoopThread running(loop, handler, address);
  TestPeer peer;
  ASSERT_EQ(BKMP_OK, peer.Connect(address));
  ASSERT_TRUE(handler.WaitForHook("OnClientConnected", 1));

  // Daemon to application: every class that goes out.
  std::vector<const MessageInfo*> outgoing;
  for (const MessageInfo& info : bkcom::MessageCatalogue()) {
    if (info.direction != bkcom::Direction::In) {
      outgoing.push_back(&info);
      handler.SendEvent(*Filled(info));
    }
  }
  for (const MessageInfo* info : outgoing) {
    std::unique_ptr<CBrenikCommunicationMessage> received = peer.Receive();
    ASSERT_NE(nullptr, received) << info->className;
    ASSERT_EQ(info->id, MessageIdOf(*received));
    EXPECT_EQ(ExpectedFields(*info, 1), DescribeFields(*received, *info));
  }

  // Application to daemon: every class; those that only go out are dropped.
  std::vector<const MessageInfo*> incoming;
  for (const MessageInfo& info : bkcom::MessageCatalogue()) {
    ASSERT_TRUE(peer.Send(*Filled(info))) << info.className;
    if (info.direction != bkcom::Direction::Out) {
      incoming.push_back(&info);
    }
  }
  CGetAllItemsAction last;  // behind every dropped one
  last.actionId = 77;
  ASSERT_TRUE(peer.Send(last));
  ASSERT_TRUE(handler.WaitForMessages(incoming.size() + 1));
  const std::vector<std::shared_ptr<CVelarnMessage>> messages = handler.Messages();
  ASSERT_EQ(incoming.size() + 1, messages.size());
  for (size_t i = 0; i < incoming.size(); ++i) {
    ASSERT_EQ(incoming[i]->id, messages[i]->GetMessageId());
    ASSERT_TRUE(messages[i]->Encode());
    EXPECT_EQ(ExpectedFields(*incoming[i], 1), DescribeFields(messages[i]->message, *incoming[i]));
  }
  EXPECT_EQ(77u, static_cast<CGetAllItemsAction&>(*messages.back()).actionId);
}

TEST_F(EventLoopTest, DropsUnknownAndIncompleteMessagesAndKeepsTheConnection) {
  LoopThread running(loop, handler, address);
  TestPeer peer;
  ASSERT_EQ(BKMP_OK, peer.Connect(address));

  CBrenikCommunicationMessage unknown;
  unknown.Create();
  unknown.SetInt8("MessageID", 99);
  unknown.SetUint32("ActionId", 1);
  ASSERT_TRUE(peer.Send(unknown));

  CBrenikCommunicationMessage daemonsOwn;  // id 3: only the daemon sends it
  daemonsOwn.Create();
  FillMessage(daemonsOwn, *bkcom::FindMessageInfo(COrderInfoEvent::kId), 0);
  ASSERT_TRUE(peer.Send(daemonsOwn));

  CBrenikCommunicationMessage noSat;
  noSat.Create();
  FillMessage(noSat, *bkcom::FindMessageInfo(CGPSEvent::kId), 0, "Sat");
  ASSERT_TRUE(peer.Send(noSat));

  CBrenikCommunicationMessage noId, wideId;  // "MessageID" missing, or not an int8
  noId.Create();
  noId.SetUint32("ActionId", 5);
  ASSERT_TRUE(peer.Send(noId));
  wideId.Create();
  wideId.SetUint32("MessageID", CGetConnectionStateAction::kId);
  wideId.SetUint32("ActionId", 5);
  ASSERT_TRUE(peer.Send(wideId));

  CGetConnectionStateAction valid;
  valid.actionId = 6;
  ASSERT_TRUE(peer.Send(valid));

  ASSERT_TRUE(handler.WaitForMessages(1));
  ASSERT_EQ(1u, handler.Messages().size());
  const auto* got = dynamic_cast<CGetConnectionStateAction*>(handler.Messages()[0].get());
  ASSERT_NE(nullptr, got);
  EXPECT_EQ(6u, got->actionId);  // the one with the wide "MessageID" came first and was dropped
  EXPECT_EQ(0u, handler.Count("OnClientDisconnected"));
  // And the way back still works.
  CKeepAliveEvent keepAlive;
  handler.SendEvent(keepAlive);
  std::unique_ptr<CBrenikCommunicationMessage> received = peer.Receive();
  ASSERT_NE(nullptr, received);
  EXPECT_EQ(CKeepAliveEvent::kId, MessageIdOf(*received));
}

// Sends from other threads run beside the main thread's blocking receive,
// while the application sends too.
TEST_F(EventLoopTest, SendsFromOtherThreadsDuringReceive) {
  LoopThread running(loop, handler, address);
  TestPeer peer;
  ASSERT_EQ(BKMP_OK, peer.Connect(address));
  ASSERT_TRUE(handler.WaitForHook("OnClientConnected", 1));

  constexpr int kPerThread = 50;
  std::vector<std::thread> senders;
  for (int t = 0; t < 2; ++t) {
    senders.emplace_back([this, t] {
      for (int i = 0; i < kPerThread; ++i) {
        COrderDeletedEvent event;
        event.orderId = static_cast<uint32_t>(t * 1000 + i);
        handler.SendEvent(event);
      }
    });
  }
  for (int i = 0; i < kPerThread; ++i) {
    CGetAllItemsAction action;
    action.actionId = static_cast<uint32_t>(i);
    ASSERT_TRUE(peer.Send(action));
  }
  for (std::thread& sender : senders) {
    sender.join();
  }

  // Each thread's messages arrive whole and in its own order.
  int next[2] = {0, 0};
  for (int i = 0; i < 2 * kPerThread; ++i) {
    std::unique_ptr<CBrenikCommunicationMessage> received = peer.Receive();
    ASSERT_NE(nullptr, received);
    ASSERT_EQ(COrderDeletedEvent::kId, MessageIdOf(*received));
    uint32_t orderId = 0;
    ASSERT_TRUE(received->GetUint32("OrderId", &orderId));
    const int t = static_cast<int>(orderId / 1000);
    ASSERT_TRUE(t == 0 || t == 1);
    EXPECT_EQ(next[t]++, static_cast<int>(orderId % 1000));
  }
  ASSERT_TRUE(handler.WaitForMessages(kPerThread));
  EXPECT_EQ(static_cast<size_t>(kPerThread), handler.Messages().size());
}

TEST_F(EventLoopTest, SendsWhileNobodyIsAttachedDoNothing) {
  CKeepAliveEvent early;
  loop.Send(early);  // not even running
  handler.onConnected = &SendInit;
  LoopThread running(loop, handler, address);
  ASSERT_TRUE(handler.WaitForHook("OnStart", 1));
  for (int i = 0; i < 5; ++i) {
    COrderDeletedEvent event;
    event.orderId = 1;
    handler.SendEvent(event);
  }

  TestPeer peer;
  ASSERT_EQ(BKMP_OK, peer.Connect(address));
  std::unique_ptr<CBrenikCommunicationMessage> first = peer.Receive();
  ASSERT_NE(nullptr, first);
  EXPECT_EQ(CVelarnInitBrenikAction::kId, MessageIdOf(*first));  // nothing from before
}

// A send that fails marks the connection lost: later sends are dropped at
// once, the main thread detaches, and the next application is served anew.
TEST_F(EventLoopTest, AFailedSendDropsTheRestAndDetaches) {
  LoopThread running(loop, handler, address);
  TestPeer peer;
  ASSERT_EQ(BKMP_OK, peer.Connect(address));
  ASSERT_TRUE(handler.WaitForHook("OnClientConnected", 1));

  CAcceptOrderAction broken;  // can't be encoded: its library message is gone
  broken.message.Destroy();
  handler.SendEvent(broken);
  COrderDeletedEvent after;
  handler.SendEvent(after);

  ASSERT_TRUE(handler.WaitForHook("OnClientDisconnected", 1));
  int code = BKMP_OK;
  std::unique_ptr<CBrenikCommunicationMessage> received = peer.Receive(10s, &code);
  EXPECT_EQ(nullptr, received) << "got message " << (received ? MessageIdOf(*received) : 0);
  EXPECT_NE(BKMP_E_TIMEOUT, code);  // closed, not merely quiet

  TestPeer next;
  ASSERT_EQ(BKMP_OK, next.Connect(address));
  ASSERT_TRUE(handler.WaitForHook("OnClientConnected", 2));
  handler.SendEvent(after);
  received = next.Receive();
  ASSERT_NE(nullptr, received);
  EXPECT_EQ(COrderDeletedEvent::kId, MessageIdOf(*received));
}

// A handler with a lock of its own, taken inside its hooks as the daemon's
// application does, and by its other threads before they send.
class LockingHandler : public RecordingLoopHandler {
 public:
  LockingHandler() { SetHookMutex(&appMutex); }
  void OnClientConnected() override {
    entered = true;
    boost::recursive_mutex::scoped_lock lock(appMutex);
    RecordingLoopHandler::OnClientConnected();
    SendInit(*this);
  }

  boost::recursive_mutex appMutex;
  std::atomic<bool> entered{false};
};

// Another thread holds the handler's lock and sends just while the loop
// attaches an application. If the loop took its own lock first and then
// waited for the handler's inside OnClientConnected, the two threads would
// wait for each other forever; the loop takes the handler's lock first.
TEST_F(EventLoopTest, AHandlerThreadHoldingItsLockAndSendingCantDeadlockTheHandshake) {
  // On the heap, left behind if the deadlock happens, so the test can fail.
  LockingHandler* locking = new LockingHandler();
  bkcom::EventLoop* deadlockable = new bkcom::EventLoop(kTestLibraryTimeout);
  LoopThread* running = new LoopThread(*deadlockable, *locking, address);
  ASSERT_TRUE(locking->WaitForHook("OnStart", 1));

  std::atomic<bool> holding{false};
  std::atomic<bool> done{false};
  std::atomic<bool> enteredWhileHeld{false};
  std::thread holder([&] {
    boost::recursive_mutex::scoped_lock lock(locking->appMutex);
    holding = true;
    // Give the loop time to accept and reach the hook. With the handler's
    // lock taken first it can't enter OnClientConnected now.
    testsupport::WaitUntil([&] { return locking->entered.load(); }, 1000ms);
    enteredWhileHeld = locking->entered.load();
    COrderDeletedEvent event;
    locking->SendEvent(event);
    done = true;
  });
  testsupport::WaitUntil([&] { return holding.load(); }, 10s);
  TestPeer* peer = new TestPeer();
  ASSERT_EQ(BKMP_OK, peer->Connect(address));

  if (!testsupport::WaitUntil([&] { return done.load(); }, 10s)) {
    ADD_FAILURE() << "deadlock: the sending thread never got through";
    holder.detach();
    return;  // the loop, handler and peer stay behind on purpose
  }
  holder.join();
  EXPECT_FALSE(enteredWhileHeld);
  std::unique_ptr<CBrenikCommunicationMessage> first = peer->Receive();
  ASSERT_NE(nullptr, first);
  EXPECT_EQ(CVelarnInitBrenikAction::kId, MessageIdOf(*first));
  EXPECT_TRUE(running->Stop());
  delete peer;
  delete running;
  delete deadlockable;
  delete locking;
}

}  // namespace

// A client that is let go frees the socket for the next one; a loop that
// could create no server tells so.
#include <gtest/gtest.h>

#include "LoopHarness.h"
#include "bkmp/bkmp.h"
#include "support/TempDir.h"

using namespace bkcomtest;

TEST(EventLoopPeersTest, ADroppedClientLetsTheNextOneIn) {
  testsupport::TempDir dir;
  const std::string address = dir.File("nav.sock");
  RecordingLoopHandler handler;
  bkcom::EventLoop loop(kTestLibraryTimeout);
  {
    LoopThread running(loop, handler, address);
    TestPeer first;
    ASSERT_EQ(BKMP_OK, first.Connect(address));
    ASSERT_TRUE(handler.WaitForHook("OnClientConnected", 1));
    handler.DropClient();
    EXPECT_TRUE(first.WaitForClose());
    EXPECT_TRUE(handler.WaitForHook("OnClientDisconnected", 1));
    TestPeer second;
    ASSERT_EQ(BKMP_OK, second.Connect(address));
    EXPECT_TRUE(handler.WaitForHook("OnClientConnected", 2));
    ASSERT_TRUE(running.Stop());
  }
  EXPECT_FALSE(loop.ServerFailed());

  // The library refuses a server with a negative time-out.
  bkcom::EventLoop failing(-1);
  RecordingLoopHandler alone;
  failing.Run(alone, address);
  EXPECT_TRUE(failing.ServerFailed());
  EXPECT_EQ((std::vector<std::string>{"GetMessageFactory", "OnStart", "OnStop"}), alone.Hooks());
}

// Connections over a real socket: both ways, time-outs, peers that go away,
// send garbage or dribble bytes, and senders on other threads.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "bkmp/Helpers.h"
#include "support/TempDir.h"

namespace {

using namespace bkmptest;

class ConnectionTest : public ::testing::Test {
 protected:
  // A server with the given time-out, a client and the accepted connection.
  void Open(int serverTimeout, int clientTimeout = kSecond) {
    server = ListeningServer(path, serverTimeout);
    ASSERT_NE(nullptr, server);
    client = ConnectedClient(path, clientTimeout);
    ASSERT_NE(nullptr, client);
    accepted = AcceptOne(server.get());
    ASSERT_NE(nullptr, accepted);
  }

  testsupport::TempDir dir;
  const std::string path = dir.File("nav.sock");
  ServerPtr server;
  ConnectionPtr client;
  ConnectionPtr accepted;
  BKMPMessage message = nullptr;
};

TEST_F(ConnectionTest, TimeOutsLeaveTheConnectionStanding) {
  Open(30000, 0);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(-1010, BKMPConnectionReceive(accepted.get(), &message));
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::microseconds(30000));
  EXPECT_EQ(nullptr, message);
  EXPECT_EQ(BKMP_E_TIMEOUT, BKMPConnectionReceive(client.get(), &message));  // time-out 0: just looks
  BKMPConnection none = nullptr;
  EXPECT_EQ(BKMP_E_TIMEOUT, BKMPServerAccept(server.get(), &none));

  ASSERT_EQ(BKMP_OK, BKMPConnectionSend(client.get(), Numbered(0, 7).get()));
  EXPECT_NE(nullptr, ReceiveOne(accepted.get()));
  ASSERT_EQ(BKMP_OK, BKMPConnectionSend(accepted.get(), Numbered(0, 8).get()));
  EXPECT_NE(nullptr, ReceiveOne(client.get()));
}

TEST_F(ConnectionTest, APeerThatGoesIsNoTimeoutAndWhatItSentFirstArrives) {
  Open(kSecond);
  ASSERT_EQ(BKMP_OK, BKMPConnectionSend(client.get(), Numbered(0, 1).get()));
  ASSERT_EQ(BKMP_OK, BKMPConnectionSend(client.get(), Numbered(0, 2).get()));
  client.reset();
  EXPECT_NE(nullptr, ReceiveOne(accepted.get()));
  EXPECT_NE(nullptr, ReceiveOne(accepted.get()));
  EXPECT_EQ(BKMP_E_CLOSED, BKMPConnectionReceive(accepted.get(), &message));
  EXPECT_EQ(BKMP_E_CLOSED, BKMPConnectionReceive(accepted.get(), &message));
  // No SIGPIPE either, which would end this program.
  EXPECT_EQ(BKMP_E_CLOSED, BKMPConnectionSend(accepted.get(), Numbered(0, 3).get()));
}

TEST_F(ConnectionTest, MalformedFramesEndTheirConnectionOnly) {
  server = ListeningServer(path, kSecond);
  ASSERT_NE(nullptr, server);
  for (const auto& [what, bytes] : MalformedFrames()) {
    SCOPED_TRACE(what);
    RawPeer peer(path);
    ASSERT_TRUE(peer.Connected());
    ConnectionPtr connection = AcceptOne(server.get());
    ASSERT_NE(nullptr, connection);
    Bytes stream = kExample;  // a good frame first, in the same write
    stream.insert(stream.end(), bytes.begin(), bytes.end());
    peer.Write(stream);

    EXPECT_NE(nullptr, ReceiveOne(connection.get()));
    int result = 0;
    EXPECT_EQ(nullptr, ReceiveOne(connection.get(), &result));
    EXPECT_EQ(BKMP_E_PROTOCOL, result);
    EXPECT_EQ(BKMP_E_CLOSED, BKMPConnectionReceive(connection.get(), &message));
    EXPECT_EQ(BKMP_E_CLOSED, BKMPConnectionSend(connection.get(), ExampleMessage().get()));
    EXPECT_TRUE(peer.SeesEndOfStream());
  }
  client = ConnectedClient(path);  // the server goes on serving
  ASSERT_NE(nullptr, client);
  EXPECT_NE(nullptr, AcceptOne(server.get()));
}

TEST_F(ConnectionTest, AFrameArrivingByteByByteComesOutWhole) {
  server = ListeningServer(path, 2000);
  ASSERT_NE(nullptr, server);
  RawPeer peer(path);
  ASSERT_TRUE(peer.Connected());
  accepted = AcceptOne(server.get());
  ASSERT_NE(nullptr, accepted);
  for (size_t i = 0; i + 1 < kExample.size(); ++i) {
    peer.Write({kExample[i]});
    ASSERT_EQ(BKMP_E_TIMEOUT, BKMPConnectionReceive(accepted.get(), &message)) << "after byte " << i;
  }
  peer.Write({kExample.back()});
  MessagePtr whole = ReceiveOne(accepted.get());
  ASSERT_NE(nullptr, whole);
  EXPECT_EQ(kExample, Frame(whole.get()));
}

TEST_F(ConnectionTest, SendsFromOtherThreadsRunBesideReceiveAndNeverInterleave) {
  Open(2 * kSecond);
  // One thread waits in Receive while another sends on the same connection;
  // the client answers what it got, which ends that Receive.
  MessagePtr atServer;
  std::thread receiver([&] { atServer = ReceiveOne(accepted.get()); });
  ASSERT_EQ(BKMP_OK, BKMPConnectionSend(accepted.get(), Numbered(1, 100).get()));
  MessagePtr atClient = ReceiveOne(client.get());
  ASSERT_NE(nullptr, atClient);
  ASSERT_EQ(BKMP_OK, BKMPConnectionSend(client.get(), atClient.get()));
  receiver.join();
  ASSERT_NE(nullptr, atServer);
  EXPECT_EQ(100, GetInt(atServer.get(), "n"));

  // Two senders with frames larger than the socket takes at once, so that
  // sends go out in pieces: every frame arrives whole, each sender's in order.
  constexpr int kEach = 40;
  std::atomic<int> failures{0};
  std::vector<std::thread> senders;
  for (int thread = 0; thread < 2; ++thread) {
    senders.emplace_back([&, thread] {
      for (int n = 0; n < kEach; ++n) {
        failures += BKMPConnectionSend(accepted.get(), Numbered(thread, n, 60000).get()) != BKMP_OK;
      }
    });
  }
  int next[2] = {0, 0};
  for (int i = 0; i < 2 * kEach; ++i) {
    MessagePtr received = ReceiveOne(client.get());
    if (received == nullptr) {
      break;
    }
    const int thread = GetInt(received.get(), "thread");
    ASSERT_TRUE(thread == 0 || thread == 1);
    EXPECT_EQ(next[thread]++, GetInt(received.get(), "n"));
  }
  for (std::thread& sender : senders) {
    sender.join();
  }
  EXPECT_EQ(0, failures.load());
  EXPECT_EQ(kEach, next[0]);
  EXPECT_EQ(kEach, next[1]);
}

// A frame larger than the socket's buffer leaves in several sends, each one
// going on where the one before stopped.
TEST_F(ConnectionTest, AFrameLargerThanTheSocketBufferArrivesWhole) {
  Open(5 * kSecond, 5 * kSecond);
  MessagePtr large = NewMessage();  // 12 texts of 60000 bytes
  for (char key[] = "a"; key[0] < 'm'; ++key[0]) {
    ASSERT_EQ(BKMP_OK, BKMPSetFieldStr(large.get(), key, std::string(60000, key[0]).c_str()));
  }
  int result = -1;
  std::thread sender([&] { result = BKMPConnectionSend(client.get(), large.get()); });
  MessagePtr received = ReceiveOne(accepted.get());
  sender.join();
  EXPECT_EQ(BKMP_OK, result);
  ASSERT_NE(nullptr, received);
  EXPECT_TRUE(Frame(large.get()) == Frame(received.get()));
}

TEST_F(ConnectionTest, APeerThatReadsNothingEndsASendInsteadOfBlockingIt) {
  Open(1000);
  MessagePtr large = Numbered(0, 0, 65535);
  int result = BKMP_OK;
  for (int i = 0; i < 200 && result == BKMP_OK; ++i) {
    result = BKMPConnectionSend(accepted.get(), large.get());
  }
  EXPECT_EQ(BKMP_E_CLOSED, result);
  EXPECT_EQ(BKMP_E_CLOSED, BKMPConnectionReceive(accepted.get(), &message));
}

TEST_F(ConnectionTest, ClientsLearnWhyTheyCantConnect) {
  BKMPConnection connection = nullptr;
  ASSERT_EQ(BKMP_OK, BKMPConnectionCreate(&connection, 0));
  client.reset(connection);
  EXPECT_EQ(BKMP_E_INVALID, BKMPConnectionReceive(connection, &message));  // not connected yet
  EXPECT_EQ(BKMP_E_CONNECT, BKMPConnectionConnectTimeout(connection, path.c_str(), 1000));
  EXPECT_EQ(BKMP_E_ADDRESS, BKMPConnectionConnectTimeout(connection, std::string(120, 'a').c_str(), 1000));

  // A server that accepts nobody: once its queue is full, connecting runs
  // out of time instead of hanging.
  server = ListeningServer(path, kSecond);
  ASSERT_NE(nullptr, server);
  std::vector<ConnectionPtr> waiting;
  int result = BKMP_OK;
  for (int i = 0; i < 100 && result == BKMP_OK; ++i) {
    ASSERT_EQ(BKMP_OK, BKMPConnectionCreate(&connection, 0));
    waiting.emplace_back(connection);
    result = BKMPConnectionConnectTimeout(connection, path.c_str(), 20000);
  }
  EXPECT_EQ(BKMP_E_TIMEOUT, result);
  EXPECT_EQ(BKMP_E_INVALID, BKMPConnectionConnectTimeout(waiting.front().get(), path.c_str(), 1000));
}

}  // namespace

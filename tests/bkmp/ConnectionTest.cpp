// Connections over a real socket: every type both ways, time-outs, peers
// that go away or send garbage or dribble bytes, and senders on threads.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "bkmp/Frames.h"
#include "bkmp/Peers.h"
#include "support/TempDir.h"

namespace {

using bkmptest::Bytes;
using bkmptest::ConnectionPtr;
using bkmptest::MessagePtr;
using bkmptest::NewMessage;
using Clock = std::chrono::steady_clock;

constexpr int kSecond = 1000000;

MessagePtr Numbered(int thread, int number, size_t padding = 0) {
  MessagePtr message = NewMessage();
  EXPECT_EQ(BKMP_OK, BKMPSetFieldInt32(message.get(), "thread", thread));
  EXPECT_EQ(BKMP_OK, BKMPSetFieldInt32(message.get(), "n", number));
  EXPECT_EQ(BKMP_OK, BKMPSetFieldStr(message.get(), "pad", std::string(padding, 'p').c_str()));
  return message;
}

int Get(BKMPMessage message, const char* key) {
  int32_t value = -1;
  EXPECT_EQ(BKMP_OK, BKMPGetFieldInt32(message, key, &value)) << key;
  return value;
}

// Receives one message, allowing a few time-outs on the way; null on failure.
MessagePtr ReceiveOne(BKMPConnection connection, int* lastResult = nullptr) {
  int result = BKMP_E_TIMEOUT;
  BKMPMessage message = nullptr;
  for (int attempt = 0; attempt < 50 && result == BKMP_E_TIMEOUT; ++attempt) {
    result = BKMPConnectionReceive(connection, &message);
  }
  if (lastResult != nullptr) {
    *lastResult = result;
  } else {
    EXPECT_EQ(BKMP_OK, result) << BKMPErrorString(result);
  }
  return MessagePtr(result == BKMP_OK ? message : nullptr);
}

class ConnectionTest : public ::testing::Test {
 protected:
  // A server with the given time-out, a client and the accepted connection.
  void Open(int serverTimeout, int clientTimeout = kSecond) {
    server = bkmptest::ListeningServer(path, serverTimeout);
    ASSERT_NE(nullptr, server);
    client = bkmptest::ConnectedClient(path, clientTimeout);
    ASSERT_NE(nullptr, client);
    accepted = bkmptest::AcceptOne(server.get());
    ASSERT_NE(nullptr, accepted);
  }

  testsupport::TempDir dir;
  const std::string path = dir.File("nav.sock");
  bkmptest::ServerPtr server;
  ConnectionPtr client;
  ConnectionPtr accepted;
};

TEST_F(ConnectionTest, EveryTypeCrossesTheSocketBothWaysInOrder) {
  Open(kSecond);
  MessagePtr sent = bkmptest::AllTypesMessage();
  ASSERT_EQ(BKMP_OK, BKMPConnectionSend(client.get(), sent.get()));
  MessagePtr atServer = ReceiveOne(accepted.get());
  ASSERT_NE(nullptr, atServer);
  bkmptest::ExpectAllTypes(atServer.get(), "at the server");

  ASSERT_EQ(BKMP_OK, BKMPConnectionSend(accepted.get(), atServer.get()));
  MessagePtr atClient = ReceiveOne(client.get());
  ASSERT_NE(nullptr, atClient);
  bkmptest::ExpectAllTypes(atClient.get(), "back at the client");
  // A sent message stays the caller's, unchanged.
  bkmptest::ExpectAllTypes(sent.get(), "the sent message");

  // Messages sent back to back, even when they arrive in one read, come out
  // one per call and in order.
  for (int n = 0; n < 20; ++n) {
    ASSERT_EQ(BKMP_OK, BKMPConnectionSend(client.get(), Numbered(0, n).get()));
  }
  for (int n = 0; n < 20; ++n) {
    MessagePtr message = ReceiveOne(accepted.get());
    ASSERT_NE(nullptr, message);
    EXPECT_EQ(n, Get(message.get(), "n"));
  }
}

TEST_F(ConnectionTest, ReceiveTimesOutWhileTheConnectionStands) {
  Open(30000, 0);
  BKMPMessage message = reinterpret_cast<BKMPMessage>(1);
  const Clock::time_point start = Clock::now();
  EXPECT_EQ(BKMP_E_TIMEOUT, BKMPConnectionReceive(accepted.get(), &message));
  EXPECT_GE(Clock::now() - start, std::chrono::microseconds(30000));
  EXPECT_EQ(nullptr, message);
  EXPECT_EQ(-1010, BKMPConnectionReceive(accepted.get(), &message));
  // A client with time-out 0 just looks.
  EXPECT_EQ(BKMP_E_TIMEOUT, BKMPConnectionReceive(client.get(), &message));

  // The connection still works both ways.
  ASSERT_EQ(BKMP_OK, BKMPConnectionSend(client.get(), Numbered(0, 7).get()));
  MessagePtr received = ReceiveOne(accepted.get());
  ASSERT_NE(nullptr, received);
  EXPECT_EQ(7, Get(received.get(), "n"));
  ASSERT_EQ(BKMP_OK, BKMPConnectionSend(accepted.get(), Numbered(0, 8).get()));
  received = ReceiveOne(client.get());
  ASSERT_NE(nullptr, received);
  EXPECT_EQ(8, Get(received.get(), "n"));
}

TEST_F(ConnectionTest, APeerThatGoesIsNoTimeoutAndWhatItSentFirstArrives) {
  Open(kSecond);
  ASSERT_EQ(BKMP_OK, BKMPConnectionSend(client.get(), Numbered(0, 1).get()));
  ASSERT_EQ(BKMP_OK, BKMPConnectionSend(client.get(), Numbered(0, 2).get()));
  client.reset();

  for (int n = 1; n <= 2; ++n) {
    MessagePtr message = ReceiveOne(accepted.get());
    ASSERT_NE(nullptr, message);
    EXPECT_EQ(n, Get(message.get(), "n"));
  }
  BKMPMessage message = nullptr;
  EXPECT_EQ(BKMP_E_CLOSED, BKMPConnectionReceive(accepted.get(), &message));
  EXPECT_EQ(BKMP_E_CLOSED, BKMPConnectionReceive(accepted.get(), &message));
  // Sending to a peer that has gone fails, and raises no SIGPIPE (which would
  // end this test program).
  EXPECT_EQ(BKMP_E_CLOSED, BKMPConnectionSend(accepted.get(), Numbered(0, 3).get()));
}

TEST_F(ConnectionTest, SendingToAGonePeerFailsWithoutASignal) {
  Open(kSecond);
  accepted.reset();
  int result = BKMP_OK;
  for (int i = 0; i < 10 && result == BKMP_OK; ++i) {
    result = BKMPConnectionSend(client.get(), Numbered(0, i).get());
  }
  EXPECT_EQ(BKMP_E_CLOSED, result);
  BKMPMessage message = nullptr;
  EXPECT_EQ(BKMP_E_CLOSED, BKMPConnectionReceive(client.get(), &message));
}

TEST_F(ConnectionTest, MalformedFramesEndTheirConnectionOnly) {
  server = bkmptest::ListeningServer(path, kSecond);
  ASSERT_NE(nullptr, server);
  for (const auto& [what, bytes] : bkmptest::MalformedFrames()) {
    SCOPED_TRACE(what);
    bkmptest::RawPeer peer(path);
    ASSERT_TRUE(peer.Connected());
    ConnectionPtr connection = bkmptest::AcceptOne(server.get());
    ASSERT_NE(nullptr, connection);
    // A good frame first, then the bad one in the same write.
    Bytes stream = bkmptest::kExample;
    stream.insert(stream.end(), bytes.begin(), bytes.end());
    peer.Write(stream);

    EXPECT_NE(nullptr, ReceiveOne(connection.get()));
    int result = 0;
    EXPECT_EQ(nullptr, ReceiveOne(connection.get(), &result));
    EXPECT_EQ(BKMP_E_PROTOCOL, result);
    BKMPMessage message = nullptr;
    EXPECT_EQ(BKMP_E_CLOSED, BKMPConnectionReceive(connection.get(), &message));
    EXPECT_EQ(BKMP_E_CLOSED, BKMPConnectionSend(connection.get(), bkmptest::ExampleMessage().get()));
    EXPECT_TRUE(peer.SeesEndOfStream());
  }
  // The server goes on serving well-behaved peers.
  client = bkmptest::ConnectedClient(path, kSecond);
  ASSERT_NE(nullptr, client);
  accepted = bkmptest::AcceptOne(server.get());
  ASSERT_NE(nullptr, accepted);
  ASSERT_EQ(BKMP_OK, BKMPConnectionSend(client.get(), Numbered(0, 1).get()));
  EXPECT_NE(nullptr, ReceiveOne(accepted.get()));
}

TEST_F(ConnectionTest, AFrameArrivingByteByByteComesOutWhole) {
  server = bkmptest::ListeningServer(path, 2000);
  ASSERT_NE(nullptr, server);
  bkmptest::RawPeer peer(path);
  ASSERT_TRUE(peer.Connected());
  BKMPConnection connection = nullptr;
  for (int i = 0; i < 1000 && connection == nullptr; ++i) {
    ASSERT_NE(BKMP_E_INVALID, BKMPServerAccept(server.get(), &connection));
  }
  ASSERT_NE(nullptr, connection);
  accepted.reset(connection);

  BKMPMessage message = nullptr;
  for (size_t i = 0; i + 1 < bkmptest::kExample.size(); ++i) {
    peer.Write({bkmptest::kExample[i]});
    ASSERT_EQ(BKMP_E_TIMEOUT, BKMPConnectionReceive(accepted.get(), &message)) << "after byte " << i;
  }
  peer.Write({bkmptest::kExample.back()});
  MessagePtr whole = ReceiveOne(accepted.get());
  ASSERT_NE(nullptr, whole);
  EXPECT_EQ(bkmptest::kExample, bkmptest::Frame(whole.get()));
}

TEST_F(ConnectionTest, ALargeFrameCrossesInManyPieces) {
  Open(20000);  // short, so that the receiver times out in the middle of the frame
  MessagePtr large = NewMessage();
  const std::string text(65535, 't');
  for (int i = 0; i < 15; ++i) {
    ASSERT_EQ(BKMP_OK, BKMPSetFieldStr(large.get(), ("t" + std::to_string(i)).c_str(), text.c_str()));
  }
  int result = BKMP_E_TIMEOUT;
  std::thread sender([&] { result = BKMPConnectionSend(client.get(), large.get()); });
  BKMPMessage message = nullptr;
  int received = BKMP_E_TIMEOUT;
  for (int i = 0; i < 500 && received == BKMP_E_TIMEOUT; ++i) {
    received = BKMPConnectionReceive(accepted.get(), &message);
  }
  sender.join();
  EXPECT_EQ(BKMP_OK, result);
  ASSERT_EQ(BKMP_OK, received);
  MessagePtr owned(message);
  EXPECT_EQ(bkmptest::Frame(large.get()), bkmptest::Frame(owned.get()));
}

TEST_F(ConnectionTest, SendsFromOtherThreadsRunBesideReceiveAndNeverInterleave) {
  Open(2 * kSecond);
  // One thread waits in Receive on the accepted connection while another
  // sends on it; the client answers what it got, which ends that Receive.
  MessagePtr atServer;
  std::thread receiver([&] { atServer = ReceiveOne(accepted.get()); });
  ASSERT_EQ(BKMP_OK, BKMPConnectionSend(accepted.get(), Numbered(1, 100).get()));
  MessagePtr atClient = ReceiveOne(client.get());
  ASSERT_NE(nullptr, atClient);
  ASSERT_EQ(BKMP_OK, BKMPConnectionSend(client.get(), atClient.get()));
  receiver.join();
  ASSERT_NE(nullptr, atServer);
  EXPECT_EQ(100, Get(atServer.get(), "n"));

  // Two senders with frames larger than the socket holds at once, so that
  // their sends are cut into pieces: every frame still arrives whole, and
  // each sender's in its order.
  constexpr int kEach = 40;
  std::vector<std::thread> senders;
  std::atomic<int> failures{0};
  for (int thread = 0; thread < 2; ++thread) {
    senders.emplace_back([&, thread] {
      for (int n = 0; n < kEach; ++n) {
        if (BKMPConnectionSend(accepted.get(), Numbered(thread, n, 60000).get()) != BKMP_OK) {
          ++failures;
        }
      }
    });
  }
  int next[2] = {0, 0};
  for (int i = 0; i < 2 * kEach; ++i) {
    MessagePtr message = ReceiveOne(client.get());
    if (message == nullptr) {
      break;
    }
    const int thread = Get(message.get(), "thread");
    ASSERT_TRUE(thread == 0 || thread == 1);
    EXPECT_EQ(next[thread]++, Get(message.get(), "n"));
  }
  for (std::thread& sender : senders) {
    sender.join();
  }
  EXPECT_EQ(0, failures.load());
  EXPECT_EQ(kEach, next[0]);
  EXPECT_EQ(kEach, next[1]);
}

TEST_F(ConnectionTest, APeerThatReadsNothingEndsASendInsteadOfBlockingIt) {
  Open(1000);
  MessagePtr large = NewMessage();
  ASSERT_EQ(BKMP_OK, BKMPSetFieldStr(large.get(), "t", std::string(65535, 't').c_str()));
  int result = BKMP_OK;
  for (int i = 0; i < 200 && result == BKMP_OK; ++i) {
    result = BKMPConnectionSend(accepted.get(), large.get());
  }
  EXPECT_EQ(BKMP_E_CLOSED, result);
  BKMPMessage message = nullptr;
  EXPECT_EQ(BKMP_E_CLOSED, BKMPConnectionReceive(accepted.get(), &message));
}

TEST_F(ConnectionTest, ClientsAreToldWhyTheyCantConnect) {
  BKMPConnection connection = nullptr;
  ASSERT_EQ(BKMP_OK, BKMPConnectionCreate(&connection, 0));
  ConnectionPtr owned(connection);
  BKMPMessage message = nullptr;
  EXPECT_EQ(BKMP_E_INVALID, BKMPConnectionReceive(connection, &message));
  EXPECT_EQ(BKMP_E_INVALID, BKMPConnectionSend(connection, bkmptest::ExampleMessage().get()));
  EXPECT_EQ(BKMP_E_CONNECT, BKMPConnectionConnectTimeout(connection, path.c_str(), 1000));
  EXPECT_EQ(BKMP_E_ADDRESS, BKMPConnectionConnectTimeout(connection, std::string(120, 'a').c_str(), 1000));
  EXPECT_EQ(BKMP_E_ADDRESS, BKMPConnectionConnectTimeout(connection, "", 1000));
  EXPECT_EQ(BKMP_E_INVALID, BKMPConnectionCreate(&connection, -1));

  // A server that accepts nobody: once its queue is full, connecting runs
  // out of time instead of hanging.
  server = bkmptest::ListeningServer(path, kSecond);
  ASSERT_NE(nullptr, server);
  std::vector<ConnectionPtr> waiting;
  int result = BKMP_OK;
  for (int i = 0; i < 100 && result == BKMP_OK; ++i) {
    BKMPConnection next = nullptr;
    ASSERT_EQ(BKMP_OK, BKMPConnectionCreate(&next, 0));
    waiting.emplace_back(next);
    result = BKMPConnectionConnectTimeout(next, path.c_str(), 20000);
  }
  EXPECT_EQ(BKMP_E_TIMEOUT, result);
  EXPECT_EQ(BKMP_E_INVALID, BKMPConnectionConnectTimeout(waiting.front().get(), path.c_str(), 1000));
}

}  // namespace

// A service waits in Accept and Receive with a long time-out and is woken at
// its stop: the wake ends the wait at once, is kept when nobody waits, and
// leaves the server and the connection standing.
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <thread>

#include "bkmp/Helpers.h"
#include "support/TempDir.h"

namespace {

using namespace bkmptest;
using Clock = std::chrono::steady_clock;

constexpr int kMinute = 60 * kSecond;

// A wake before the wait: the next wait returns at once, the one after waits
// again, here until a wake from another thread.
void ExpectWakesEndWaits(const std::function<int()>& wait, const std::function<int()>& wake) {
  ASSERT_EQ(BKMP_OK, wake());
  EXPECT_EQ(BKMP_E_TIMEOUT, wait());
  const Clock::time_point start = Clock::now();
  std::thread waker([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    wake();
  });
  EXPECT_EQ(BKMP_E_TIMEOUT, wait());
  waker.join();
  EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(50));
  EXPECT_LT(Clock::now() - start, std::chrono::seconds(30));
}

TEST(WakeTest, WakesEndWaitsAtOnceAndAreKeptUntilOneWaits) {
  testsupport::TempDir dir;
  const std::string path = dir.File("nav.sock");
  ServerPtr server = ListeningServer(path, kMinute);
  ASSERT_NE(nullptr, server);
  BKMPConnection none = nullptr;
  ExpectWakesEndWaits([&] { return BKMPServerAccept(server.get(), &none); },
                      [&] { return BKMPServerWake(server.get()); });

  // The same for a connection's Receive; the connection stands.
  ConnectionPtr client = ConnectedClient(path, kMinute);
  ASSERT_NE(nullptr, client);
  ConnectionPtr accepted = AcceptOne(server.get());
  ASSERT_NE(nullptr, accepted);
  BKMPMessage message = nullptr;
  ExpectWakesEndWaits([&] { return BKMPConnectionReceive(accepted.get(), &message); },
                      [&] { return BKMPConnectionWake(accepted.get()); });
  ASSERT_EQ(BKMP_OK, BKMPConnectionSend(client.get(), Numbered(0, 3).get()));
  MessagePtr received = ReceiveOne(accepted.get());
  ASSERT_NE(nullptr, received);
  EXPECT_EQ(3, GetInt(received.get(), "n"));

  EXPECT_EQ(BKMP_E_INVALID, BKMPServerWake(nullptr));
  EXPECT_EQ(BKMP_E_INVALID, BKMPConnectionWake(nullptr));
}

}  // namespace

// SIGTERM at random moments while the unit streams orders and text messages.
// Every packet the daemon acknowledged must be in the database it writes at
// the stop, and every reply it owes the office (workflow code 101) must be
// sent or kept in its context: after all the restarts, each entry is stored
// (or was evicted with code 501) and each reply reached the unit exactly once.
// The unit keeps what the daemon didn't acknowledge and sends it after the
// restart, so in the end every entry must have arrived.
//
// VELARND_STOP_ROUNDS sets the number of rounds (default 3; scripts/stop-rounds
// runs 50) and VELARND_STOP_SEED the seed of the moments.
#include <signal.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>
#include <regex>
#include <string>
#include <thread>

#include "data/Database.h"
#include "velarnd/EndToEndRig.h"

namespace {

using namespace std::chrono_literals;

// Orders and text messages per round: at full speed on loopback the unit
// sends them faster than the daemon's event thread works them off, so the
// stop finds acknowledged data still waiting in the driver's queue.
constexpr unsigned kBurst = 100;
constexpr unsigned kOrderIds = 100000;
constexpr size_t kKept = 100;  // entries of each kind the daemon keeps

unsigned FromEnvironment(const char* name, unsigned fallback) {
  const char* value = std::getenv(name);
  return value != nullptr && *value != '\0' ? static_cast<unsigned>(std::stoul(value)) : fallback;
}

// The workflow codes the unit received, per order and per text message.
struct Replies {
  std::map<unsigned, std::map<unsigned, unsigned>> orders;  // id -> code -> count
  std::map<unsigned, std::map<unsigned, unsigned>> texts;
  size_t received = 0;  // code 101, all ids
};

Replies Collect(e2e::Party& unit) {
  static const std::regex order("OrderWorkflowEventOutMsg .*orderId=([0-9]+) .*workflowCode=([0-9]+)");
  static const std::regex text("TextMessageWorkflowEventOutMsg .*messageId=([0-9]+) workflowCode=([0-9]+)");
  Replies replies;
  for (const std::string& line : unit.Lines()) {
    std::smatch match;
    if (line.rfind("<- msg", 0) != 0) {
      continue;
    }
    auto* kind = std::regex_search(line, match, order)  ? &replies.orders
                 : std::regex_search(line, match, text) ? &replies.texts
                                                        : nullptr;
    if (kind != nullptr) {
      const unsigned code = static_cast<unsigned>(std::stoul(match[2]));
      ++(*kind)[static_cast<unsigned>(std::stoul(match[1]))][code];
      replies.received += code == 101 ? 1 : 0;
    }
  }
  return replies;
}

class EndToEndStopTest : public e2e::ScenarioTest {
 protected:
  // Waits (bounded) until the unit has seen count replies with code 101.
  testing::AssertionResult AllAnswered(size_t count) {
    const auto deadline = std::chrono::steady_clock::now() + 60s;
    size_t received = 0;
    while ((received = Collect(service.Unit()).received) < count) {
      if (std::chrono::steady_clock::now() > deadline) {
        return testing::AssertionFailure() << received << " of " << count << " replies came";
      }
      // An application that can't write what it prints stops reading, and
      // the daemon would let it go, closing the unit link.
      service.Nav().Output();
      std::this_thread::sleep_for(100ms);
    }
    return testing::AssertionSuccess();
  }
};

TEST_F(EndToEndStopTest, SigtermAtRandomMomentsLosesNothingAcknowledged) {
  const unsigned rounds = FromEnvironment("VELARND_STOP_ROUNDS", 3);
  const unsigned seed = FromEnvironment("VELARND_STOP_SEED", std::random_device()());
  std::mt19937 random(seed);
  std::uniform_int_distribution<int> moment(0, 80);
  SCOPED_TRACE("seed " + std::to_string(seed));

  e2e::Party& unit = service.StartUnit({"--stay"});
  unsigned sent = 0;
  for (unsigned round = 0; round <= rounds; ++round) {
    service.StartDaemon();
    e2e::Party& nav = service.StartNav({"--stay"});
    ASSERT_TRUE(unit.Expect(round == 0 ? "^link connected .* new$" : "^link connected .* resumed$", 30s));
    // Each round begins with everything before it answered. The unit
    // repeats an unacknowledged packet at every connection and gives it up
    // after 32 transmissions, so a packet left waiting through many short
    // rounds would be given up by the unit: a loss of data the daemon never
    // acknowledged, which isn't what this test is about.
    ASSERT_TRUE(AllAnswered(2 * sent));
    if (round == rounds) {
      break;  // the last start only lets the rest through, as waited for above
    }
    std::string burst;
    for (unsigned i = 0; i < kBurst; ++i, ++sent) {
      burst += R"(send {"id": "NewOrderInMsg", "nodes": {"1": )" + std::to_string(kOrderIds + sent) +
               R"(, "2": "S", "3": 1, "4": "Stop test", "5": 1, "7": false}})"
               "\n";
      burst += R"(send {"id": "NewTextMessageInMsg", "nodes": {"1": )" + std::to_string(sent) +
               R"(, "2": "Stop test"}})"
               "\n";
    }
    unit.Input(burst);
    std::this_thread::sleep_for(std::chrono::milliseconds(moment(random)));
    // A position from the application wakes the loop at once, so the stop
    // comes in the middle of the stream, not up to a library time-out later.
    service.Daemon()->Signal(SIGTERM);
    nav.Input("gps 48.1 11.5 50 90 7\n");
    int status = 0;
    ASSERT_TRUE(service.Daemon()->Finish(10s, status));
    EXPECT_EQ(0, e2e::ExitCode(status));
    ASSERT_TRUE(nav.Finish(10s, status));
  }

  Replies replies = Collect(unit);
  ASSERT_TRUE(service.StopDaemon());
  data::Database database(service.DatabaseFile());
  ASSERT_TRUE(database.Load());

  EXPECT_EQ(2 * sent, replies.received);
  for (unsigned i = 0; i < sent; ++i) {
    const unsigned orderId = kOrderIds + i;
    EXPECT_EQ(1u, replies.orders[orderId][101]) << "code 101 of order " << orderId;
    EXPECT_EQ(1u, replies.texts[i][101]) << "code 101 of text message " << i;
    // Kept, or pushed out by a newer one and reported as such.
    EXPECT_TRUE(database.orders.count(orderId) == 1 || replies.orders[orderId][501] == 1)
        << "order " << orderId;
    // Text messages go without a report: the newest ones are kept.
    EXPECT_EQ(i + kKept >= sent, database.textMessages.count(i) == 1) << "text message " << i;
  }
  EXPECT_EQ(std::min<size_t>(sent, kKept), database.orders.size());
  if (HasFailure()) {
    return;
  }
  std::printf("stop rounds: %u (seed %u), %u orders and %u text messages, each stored and answered once\n",
              rounds, seed, sent, sent);
}

}  // namespace

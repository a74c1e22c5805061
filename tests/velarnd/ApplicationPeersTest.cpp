// A navigation application that connects and never answers the greeting is
// let go after the handshake's time-out; one that answers stays.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "bkcom/Actions.h"
#include "bkcom/IMessageSender.h"
#include "bkcom/Text.h"
#include "support/Wait.h"
#include "velarnd/ApplicationHarness.h"

using namespace std::chrono_literals;

namespace {

// Counts what the application asks of the event loop from its timer thread.
class DropCounter : public bkcom::IMessageSender {
 public:
  void Send(CVelarnMessage&) override {}
  void DropClient() override { ++drops; }
  std::atomic<int> drops{0};
};

}  // namespace

TEST(ApplicationPeersTest, AnApplicationThatNeverAnswersTheGreetingIsLetGo) {
  velarndtest::ApplicationRig rig;
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
    velarndtest::Deliver(rig.application, answer);
    std::this_thread::sleep_for(600ms);
    EXPECT_EQ(1, loop.drops) << version;
    rig.application.OnClientDisconnected();
  }
  rig.application.OnStop();
}

// Setting the wall clock (from GPS or the network) in the middle of a
// keep-alive period or of a link outage changes neither the beat towards the
// navigation application nor the link age reported to the server.
#include <gtest/gtest.h>

#include <algorithm>

#include "bkcom/Actions.h"
#include "bkcom/Text.h"
#include "support/ManualClock.h"
#include "velarnd/ApplicationHarness.h"

namespace {

TEST(ApplicationClockStepTest, KeepAliveAndLinkAgeFollowTheMonotonicClock) {
  for (const int64_t step : {int64_t{3600000}, int64_t{-3600000}}) {
    SCOPED_TRACE(testing::Message() << "wall clock step " << step << " ms");
    testsupport::ManualClock clock;
    testsupport::ScopedClock installed(clock);
    velarndtest::ApplicationRig rig;
    auto keepAlives = [&] {
      boost::recursive_mutex::scoped_lock lock(rig.application.GetMutex());
      return std::count(rig.log.lines.begin(), rig.log.lines.end(), "nav CKeepAliveEvent");
    };
    rig.application.OnStart();
    CBrenikInitVelarnAction init;
    init.actionId = 1;
    init.kaInterval = 2;
    bkcom::CopyText(init.version, "1.0.5");
    velarndtest::Deliver(rig.application, init);

    clock.Advance(1000);
    clock.StepWall(step);
    clock.Advance(999);
    EXPECT_EQ(0, keepAlives());
    clock.Advance(1);
    EXPECT_EQ(1, keepAlives());

    rig.application.OnInterrupted(rig.driver);
    clock.Advance(2000);
    clock.StepWall(-step);
    clock.Advance(3300);
    CSendTextMessageAction text;
    text.actionId = 2;
    bkcom::CopyText(text.text, "x");
    velarndtest::Deliver(rig.application, text);
    const std::vector<std::string> server = rig.log.Of("server");
    ASSERT_FALSE(server.empty());
    EXPECT_NE(std::string::npos, server.back().find(" linkAge=5 ")) << server.back();
    rig.application.OnStop();
  }
}

}  // namespace

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "data/ConfigParameters.h"
#include "data/Position.h"
#include "data/Status.h"
#include "data/VelarnParameters.h"
#include "data/WorkingTimeReporting.h"
#include "data/ZUParameters.h"

namespace {

using data::Position;
using data::WorkingTimeReporting;

TEST(PositionTest, DistanceFollowsTheDevicesFormula) {
  const Position origin(0, 0);
  EXPECT_TRUE(origin.IsNull());
  EXPECT_FALSE(Position(0, 1).IsNull());
  EXPECT_EQ(0.0, origin.Distance(origin));
  const Position munich(48137000, 11575000);
  EXPECT_EQ(0.0, munich.Distance(munich));

  // Reference values worked out step by step outside the code, with the same
  // constants, scale and order of operations.
  EXPECT_EQ(308874.79623488535, origin.Distance(Position(0, 1000000)));
  EXPECT_EQ(308961.1111111111, origin.Distance(Position(1000000, 0)));
  const Position a(21600000, 0);
  const Position b(0, 1000000);
  EXPECT_EQ(6675346.731334432, a.Distance(b));
  // Not symmetric: the cosine takes this position's latitude.
  EXPECT_EQ(6680704.058207423, b.Distance(a));
  const Position berlin(52520000, 13405000);
  EXPECT_EQ(1409387.6144010802, munich.Distance(berlin));
  EXPECT_EQ(1432763.316774899, berlin.Distance(munich));
  // At 32.4 million the cosine's argument is pi / 2: a longitude difference
  // counts next to nothing there.
  const Position quarter(32400000, 0);
  EXPECT_LT(quarter.Distance(Position(32400000, 1000000)), 1e-6);

  // Differences wrap in 32 bits as on the device instead of overflowing.
  const Position far(std::numeric_limits<int>::max(), 0);
  const Position other(std::numeric_limits<int>::min(), 0);
  EXPECT_EQ(0.30896111111111113, far.Distance(other));

  Position cleared = munich;
  EXPECT_TRUE(cleared != origin);
  cleared.Clear();
  EXPECT_TRUE(cleared == origin);
}

TEST(WorkingTimeTest, ClockStepsAndTheirTimes) {
  WorkingTimeReporting clock;
  EXPECT_EQ(WorkingTimeReporting::OffWork, clock.GetState());
  EXPECT_EQ(2u, clock.GetAllowedActions());

  ASSERT_TRUE(clock.Apply(2, 100));
  EXPECT_EQ(WorkingTimeReporting::Working, clock.GetState());
  EXPECT_EQ(12u, clock.GetAllowedActions());
  EXPECT_EQ(100u, clock.GetStartOfWork());
  // End of work without a pause leaves the pause times at 0.
  ASSERT_TRUE(clock.Apply(4, 200));
  EXPECT_EQ(200u, clock.GetEndOfWork());
  EXPECT_EQ(0u, clock.GetStartOfLastPause());
  EXPECT_EQ(0u, clock.GetEndOfLastPause());

  // A new day clears everything of the day before.
  ASSERT_TRUE(clock.Apply(2, 300));
  ASSERT_TRUE(clock.Apply(8, 310));
  EXPECT_EQ(WorkingTimeReporting::Pause, clock.GetState());
  EXPECT_EQ(20u, clock.GetAllowedActions());
  EXPECT_EQ(310u, clock.GetStartOfLastPause());
  ASSERT_TRUE(clock.Apply(16, 320));
  EXPECT_EQ(320u, clock.GetEndOfLastPause());
  // End of work after an ended pause keeps that pause's end.
  ASSERT_TRUE(clock.Apply(4, 400));
  EXPECT_EQ(320u, clock.GetEndOfLastPause());
  ASSERT_TRUE(clock.Apply(2, 500));
  EXPECT_EQ(500u, clock.GetStartOfWork());
  EXPECT_EQ(0u, clock.GetEndOfWork());
  EXPECT_EQ(0u, clock.GetStartOfLastPause());
  EXPECT_EQ(0u, clock.GetEndOfLastPause());

  // A new pause forgets the end of the one before; end of work during a
  // pause ends it too.
  ASSERT_TRUE(clock.Apply(8, 510));
  ASSERT_TRUE(clock.Apply(16, 520));
  ASSERT_TRUE(clock.Apply(8, 530));
  EXPECT_EQ(0u, clock.GetEndOfLastPause());
  ASSERT_TRUE(clock.Apply(4, 540));
  EXPECT_EQ(540u, clock.GetEndOfWork());
  EXPECT_EQ(540u, clock.GetEndOfLastPause());
  EXPECT_EQ(540u, clock.GetLastChange());

  // With the clock: a refused action touches nothing, not even lastChange.
  WorkingTimeReporting live;
  ASSERT_TRUE(live.Apply(WorkingTimeReporting::StartOfWork));
  EXPECT_NE(0u, live.GetStartOfWork());
  const unsigned lastChange = live.GetLastChange();
  EXPECT_FALSE(live.Apply(2));
  EXPECT_EQ(lastChange, live.GetLastChange());
  live.Reset();
  EXPECT_EQ(WorkingTimeReporting::OffWork, live.GetState());
  EXPECT_EQ(0u, live.GetStartOfWork());
  EXPECT_EQ(0u, live.GetLastChange());
}

TEST(WorkingTimeTest, AllowedActionsAgreeWithApply) {
  // Reach each state, then try every single-bit action and a few others.
  const unsigned paths[][2] = {{0, 0}, {2, 0}, {2, 8}};
  for (const auto& path : paths) {
    WorkingTimeReporting reference;
    for (unsigned step : path) {
      if (step != 0) {
        ASSERT_TRUE(reference.Apply(step, 50));
      }
    }
    const unsigned allowed = reference.GetAllowedActions();
    for (unsigned action = 0; action <= 32; ++action) {
      WorkingTimeReporting clock = reference;
      const bool single = action != 0 && (action & (action - 1)) == 0;
      EXPECT_EQ(single && (allowed & action) != 0, clock.Apply(action, 60))
          << "state " << reference.GetState() << " action " << action;
    }
  }
}

TEST(ParameterRecordsTest, DefaultsAndResets) {
  data::ConfigParameters config;
  EXPECT_FALSE(config.configured);
  EXPECT_EQ(600u, config.etaIntervalHome);
  EXPECT_EQ(3600u, config.etaIntervalRoaming);
  config.configured = config.privacyEnabled = true;
  config.etaIntervalHome = 1;
  config.resetMode = 3;
  config.newSessionBoundary = 9;
  config.Reset();
  EXPECT_FALSE(config.configured);
  EXPECT_FALSE(config.privacyEnabled);
  EXPECT_EQ(600u, config.etaIntervalHome);
  EXPECT_EQ(0u, config.resetMode);
  EXPECT_EQ(0u, config.newSessionBoundary);

  data::VelarnParameters velarn;
  EXPECT_EQ('V', velarn.gps.status);
  velarn.linkLostAt = 5;
  velarn.gps.status = 'A';
  velarn.gps.position = Position(1, 2);
  velarn.gps.course = 90;
  velarn.logbook.mode = data::LogbookModePrivate;
  velarn.logbook.tripValid = true;
  velarn.logbook.tripDistance = 7;
  velarn.gpsFeedEnabled = true;
  velarn.Reset();
  EXPECT_EQ(0u, velarn.linkLostAt);
  EXPECT_EQ('V', velarn.gps.status);
  EXPECT_TRUE(velarn.gps.position.IsNull());
  EXPECT_EQ(0u, velarn.gps.course);
  EXPECT_EQ(data::LogbookModeNone, velarn.logbook.mode);
  EXPECT_FALSE(velarn.logbook.tripValid);
  EXPECT_EQ(0u, velarn.logbook.tripDistance);
  EXPECT_FALSE(velarn.gpsFeedEnabled);

  const data::ZUParameters zu;
  EXPECT_EQ(data::LogbookModeBusiness, zu.logbookMode);
  EXPECT_EQ('V', zu.gps.status);

  EXPECT_TRUE(data::Status(1, "a").IsBefore(data::Status(2, "a")));
  EXPECT_FALSE(data::Status(2, "a").IsBefore(data::Status(1, "z")));
}

}  // namespace

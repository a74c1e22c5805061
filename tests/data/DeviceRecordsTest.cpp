#include <gtest/gtest.h>

#include <limits>

#include "data/Position.h"
#include "data/WorkingTimeReporting.h"

namespace {

using data::Position;
using data::WorkingTimeReporting;

TEST(PositionTest, DistanceFollowsTheDevicesFormula) {
  const Position origin(0, 0);
  const Position munich(48137000, 11575000);
  EXPECT_TRUE(origin.IsNull());
  EXPECT_FALSE(Position(0, 1).IsNull());
  EXPECT_EQ(0.0, munich.Distance(munich));
  // Reference values worked out step by step outside the code, with the same
  // constants, scale and order of operations: they must match to the bit.
  EXPECT_EQ(308874.79623488535, origin.Distance(Position(0, 1000000)));
  EXPECT_EQ(308961.1111111111, origin.Distance(Position(1000000, 0)));
  const Position a(21600000, 0);
  const Position b(0, 1000000);
  const Position berlin(52520000, 13405000);
  // Not symmetric: the cosine takes this position's latitude.
  EXPECT_EQ(6675346.731334432, a.Distance(b));
  EXPECT_EQ(6680704.058207423, b.Distance(a));
  EXPECT_EQ(1409387.6144010802, munich.Distance(berlin));
  EXPECT_EQ(1432763.316774899, berlin.Distance(munich));
  // Differences wrap in 32 bits as on the device instead of overflowing.
  const Position far(std::numeric_limits<int>::max(), 0);
  EXPECT_EQ(0.30896111111111113, far.Distance(Position(std::numeric_limits<int>::min(), 0)));
}

TEST(WorkingTimeTest, ClockStepsAndTheirTimes) {
  WorkingTimeReporting clock;
  ASSERT_TRUE(clock.Apply(2, 100));
  // End of work without a pause leaves the pause times at 0.
  ASSERT_TRUE(clock.Apply(4, 200));
  EXPECT_EQ(200u, clock.GetEndOfWork());
  EXPECT_EQ(0u, clock.GetEndOfLastPause());
  // End of work after an ended pause keeps that pause's end.
  ASSERT_TRUE(clock.Apply(2, 300));
  ASSERT_TRUE(clock.Apply(8, 310));
  ASSERT_TRUE(clock.Apply(16, 320));
  ASSERT_TRUE(clock.Apply(4, 400));
  EXPECT_EQ(310u, clock.GetStartOfLastPause());
  EXPECT_EQ(320u, clock.GetEndOfLastPause());
  // A new day keeps nothing of the day before.
  ASSERT_TRUE(clock.Apply(2, 500));
  EXPECT_EQ(500u, clock.GetStartOfWork());
  EXPECT_EQ(0u, clock.GetEndOfWork() + clock.GetStartOfLastPause() + clock.GetEndOfLastPause());
  // A new pause forgets the end of the one before; end of work in a pause ends it.
  ASSERT_TRUE(clock.Apply(8, 510));
  ASSERT_TRUE(clock.Apply(16, 520));
  ASSERT_TRUE(clock.Apply(8, 530));
  EXPECT_EQ(0u, clock.GetEndOfLastPause());
  ASSERT_TRUE(clock.Apply(4, 540));
  EXPECT_EQ(540u, clock.GetEndOfLastPause());
  EXPECT_EQ(540u, clock.GetLastChange());
  EXPECT_EQ(WorkingTimeReporting::OffWork, clock.GetState());

  // A refused action touches nothing, not even the time of the last change.
  ASSERT_TRUE(clock.Apply(WorkingTimeReporting::StartOfWork));
  const unsigned lastChange = clock.GetLastChange();
  EXPECT_LE(540u, lastChange);
  EXPECT_FALSE(clock.Apply(2));
  EXPECT_EQ(lastChange, clock.GetLastChange());
  clock.Reset();
  EXPECT_EQ(WorkingTimeReporting::OffWork, clock.GetState());
  EXPECT_EQ(0u, clock.GetStartOfWork() + clock.GetLastChange());
}

TEST(WorkingTimeTest, AllowedActionsAgreeWithApply) {
  const unsigned paths[][2] = {{0, 0}, {2, 0}, {2, 8}};  // off work, working, in a pause
  const unsigned expectedMasks[] = {2, 12, 20};
  for (int p = 0; p < 3; ++p) {
    WorkingTimeReporting reference;
    for (unsigned step : paths[p]) {
      ASSERT_TRUE(step == 0 || reference.Apply(step, 50));
    }
    const unsigned allowed = reference.GetAllowedActions();
    EXPECT_EQ(expectedMasks[p], allowed);
    for (unsigned action = 0; action <= 32; ++action) {
      WorkingTimeReporting clock = reference;
      const bool single = action != 0 && (action & (action - 1)) == 0;
      EXPECT_EQ(single && (allowed & action) != 0, clock.Apply(action, 60)) << p << " " << action;
    }
  }
}

}  // namespace

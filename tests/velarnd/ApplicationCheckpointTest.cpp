#include <gtest/gtest.h>

#include "support/ManualClock.h"
#include "support/TempDir.h"
#include "velarnd/ApplicationHarness.h"

namespace {

bool FileHolds(const std::string& path, unsigned orders, unsigned textMessages) {
  data::Database stored(path);
  return stored.Load() && stored.orders.size() == orders && stored.textMessages.size() == textMessages;
}

}  // namespace

// Between two stops the database reaches the disk within a checkpoint of a
// change, so that a power cut loses seconds, not the day; an unchanged
// database isn't written again.
TEST(ApplicationCheckpointTest, WritesChangesWhileRunningAndOnlyChanges) {
  testsupport::TempDir folder;
  const std::string path = folder.File("velarnd.db");
  testsupport::ManualClock clock;
  testsupport::ScopedClock installed(clock);
  velarndtest::ApplicationRig rig;
  rig.database.path = path;
  const uint64_t checkpoint = velarnd::Application::kCheckpointMs;

  rig.application.OnStart();
  // Nothing changed yet: no file appears.
  clock.Advance(2 * checkpoint);
  EXPECT_FALSE(FileHolds(path, 0, 0));

  velarndtest::NewOrder(rig, 7);
  clock.Advance(checkpoint);
  EXPECT_TRUE(FileHolds(path, 1, 0));
  velarndtest::NewText(rig, 3);
  clock.Advance(checkpoint);
  EXPECT_TRUE(FileHolds(path, 1, 1));

  // The stop writes whatever is left, at once.
  velarndtest::FromServer(rig, R"({"id": "CancelOrderInMsg", "nodes": {"1": 7}})");
  rig.application.OnStop();
  EXPECT_TRUE(FileHolds(path, 0, 1));
}

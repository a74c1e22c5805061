#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "support/TempDir.h"
#include "support/Wait.h"
#include "velarnd/ApplicationHarness.h"

using namespace std::chrono_literals;

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
  velarndtest::ApplicationRig rig;
  rig.database.path = path;

  rig.application.OnStart();
  // Nothing changed yet: no file appears.
  std::this_thread::sleep_for(std::chrono::milliseconds(velarnd::Application::kCheckpointMs + 500));
  EXPECT_FALSE(FileHolds(path, 0, 0));

  velarndtest::NewOrder(rig, 7);
  EXPECT_TRUE(testsupport::WaitUntil([&] { return FileHolds(path, 1, 0); }, 20s));
  velarndtest::NewText(rig, 3);
  EXPECT_TRUE(testsupport::WaitUntil([&] { return FileHolds(path, 1, 1); }, 20s));

  // The stop writes whatever is left, at once.
  velarndtest::FromServer(rig, R"({"id": "CancelOrderInMsg", "nodes": {"1": 7}})");
  rig.application.OnStop();
  EXPECT_TRUE(FileHolds(path, 0, 1));
}

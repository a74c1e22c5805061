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
  velarndtest::EventLog log;
  data::Database database(path);
  velarndtest::FakeDriver driver(log);
  velarndtest::FakeFeeder feeder(log);
  velarnd::Application application(database, driver, feeder);

  application.OnStart();
  // Nothing changed yet: no file appears.
  std::this_thread::sleep_for(std::chrono::milliseconds(velarnd::Application::kCheckpointMs + 500));
  EXPECT_FALSE(FileHolds(path, 0, 0));

  application.OnReceivedMessage(
      driver,
      velarndtest::ServerMessage(
          R"({"id": "NewOrderInMsg", "nodes": {"1": 7, "2": "A", "3": 1, "4": "x", "5": 0, "7": false}})"),
      true);
  EXPECT_TRUE(testsupport::WaitUntil([&] { return FileHolds(path, 1, 0); }, 20s));

  application.OnReceivedMessage(
      driver, velarndtest::ServerMessage(R"({"id": "NewTextMessageInMsg", "nodes": {"1": 3, "2": "hi"}})"),
      true);
  EXPECT_TRUE(testsupport::WaitUntil([&] { return FileHolds(path, 1, 1); }, 20s));

  // The stop writes whatever is left, at once.
  application.OnReceivedMessage(
      driver, velarndtest::ServerMessage(R"({"id": "CancelOrderInMsg", "nodes": {"1": 7}})"), true);
  application.OnStop();
  EXPECT_TRUE(FileHolds(path, 0, 1));
}

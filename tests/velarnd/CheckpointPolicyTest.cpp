// What the running service writes, and when: lasting changes at the next
// checkpoint, changes of slow data alone at most every ten minutes.
#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "data/Database.h"
#include "velarnd/CheckpointPolicy.h"

using velarnd::CheckpointPolicy;

TEST(CheckpointPolicyTest, LastingChangesAreDueAtOnceSlowDataOnlyEveryTenMinutes) {
  struct Row {
    const char* name;
    std::function<void(data::Database&)> change;
    CheckpointPolicy::Change kind;
  };
  const std::vector<Row> rows = {
      {"order", [](data::Database& d) { d.orders.emplace(1, data::Order(1, "N", "T")); },
       CheckpointPolicy::Lasting},
      {"text message", [](data::Database& d) { d.textMessages.emplace(2, data::TextMessage(2, "Hi")); },
       CheckpointPolicy::Lasting},
      {"status", [](data::Database& d) { d.statuses.emplace(5, data::Status(5, "Free")); },
       CheckpointPolicy::Lasting},
      {"driver", [](data::Database& d) { d.zu.driverId = 7; }, CheckpointPolicy::Lasting},
      {"working time",
       [](data::Database& d) { d.workingTime.Apply(data::WorkingTimeReporting::StartOfWork); },
       CheckpointPolicy::Lasting},
      {"logbook mode", [](data::Database& d) { d.velarn.logbook.mode = data::LogbookModePrivate; },
       CheckpointPolicy::Lasting},
      {"configuration", [](data::Database& d) { d.config.etaEnabled = true; }, CheckpointPolicy::Lasting},
      {"unit position", [](data::Database& d) { d.velarn.gps.position.latitude = 48137154; },
       CheckpointPolicy::SlowDataOnly},
      {"odometer", [](data::Database& d) { d.velarn.odometer = 1234500; }, CheckpointPolicy::SlowDataOnly},
      {"trip", [](data::Database& d) { d.velarn.logbook.tripDistance = 4500; },
       CheckpointPolicy::SlowDataOnly},
      {"navigation position", [](data::Database& d) { d.zu.gps.status = 'A'; },
       CheckpointPolicy::SlowDataOnly},
      {"arrival report", [](data::Database& d) { d.zu.lastEta = 900000000; }, CheckpointPolicy::SlowDataOnly},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    data::Database database("");
    CheckpointPolicy policy(database);
    policy.Written();
    EXPECT_FALSE(policy.Due(5000));
    row.change(database);
    EXPECT_EQ(row.kind, policy.Compare());
    if (row.kind == CheckpointPolicy::Lasting) {
      EXPECT_TRUE(policy.Due(5000));
    } else {
      EXPECT_FALSE(policy.Due(CheckpointPolicy::kSlowDataMs - 5001));
      EXPECT_TRUE(policy.Due(1));
    }
    // Written: nothing is due any more, and the slow data's ten minutes
    // start anew.
    policy.Written();
    EXPECT_EQ(CheckpointPolicy::None, policy.Compare());
    database.velarn.gps.time += 1;
    EXPECT_FALSE(policy.Due(CheckpointPolicy::kSlowDataMs - 1));
  }
}

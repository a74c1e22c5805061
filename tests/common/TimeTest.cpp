#include "common/Time.h"

#include <gtest/gtest.h>

#include "common/Generator.h"
#include "common/Random.h"

#include <vector>

namespace {

TEST(TimeTest, EpochConversionsKeepTheNoTimeValues) {
  // 0 and all ones mean "no time" and pass unchanged; 2000-01-01 itself becomes 0.
  EXPECT_EQ((std::vector<uint32_t>{0, 0xFFFFFFFFu, 946684801u, 0, 0xFFFFFFFFu, 0, 1}),
            (std::vector<uint32_t>{common::FromEpoch2000(0), common::FromEpoch2000(0xFFFFFFFFu),
                                   common::FromEpoch2000(1), common::ToEpoch2000(0),
                                   common::ToEpoch2000(0xFFFFFFFFu), common::ToEpoch2000(946684800u),
                                   common::ToEpoch2000(946684801u)}));
  EXPECT_EQ((std::vector<uint64_t>{0, ~0ull, 1500ull}),
            (std::vector<uint64_t>{common::ToEpoch2000Ms(0), common::ToEpoch2000Ms(~0ull),
                                   common::ToEpoch2000Ms(946684801500ull)}));
  EXPECT_EQ((std::vector<uint32_t>{5, 5, 0xFFFFFFFFu}),
            (std::vector<uint32_t>{common::TimeDifference(10, 5), common::TimeDifference(5, 10),
                                   common::TimeDifference(0, 0xFFFFFFFFu)}));
}

TEST(TimeTest, GeneratorWrapsAndRandomFollowsRandR) {
  common::Generator ids(0xFFFFFFFEu);
  EXPECT_EQ(0xFFFFFFFFu, ids.Next());
  EXPECT_EQ(0xFFFFFFFFu, ids.Current());
  EXPECT_EQ(0u, ids.Next());
  unsigned seed = 12345;
  common::Random random(12345);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(rand_r(&seed), random.Next());
  }
}

}  // namespace

#include "common/Time.h"

#include <gtest/gtest.h>

#include "common/Generator.h"
#include "common/Random.h"

namespace {

TEST(TimeTest, EpochConversionsKeepTheNoTimeValues) {
  EXPECT_EQ(0u, common::FromEpoch2000(0));
  EXPECT_EQ(0xFFFFFFFFu, common::FromEpoch2000(0xFFFFFFFFu));
  EXPECT_EQ(946684801u, common::FromEpoch2000(1));
  EXPECT_EQ(0u, common::ToEpoch2000(0));
  EXPECT_EQ(0xFFFFFFFFu, common::ToEpoch2000(0xFFFFFFFFu));
  // 2000-01-01 itself converts to 0, which then reads as "no time".
  EXPECT_EQ(0u, common::ToEpoch2000(946684800u));
  EXPECT_EQ(1u, common::ToEpoch2000(946684801u));
  EXPECT_EQ(0u, common::ToEpoch2000Ms(0));
  EXPECT_EQ(~0ull, common::ToEpoch2000Ms(~0ull));
  EXPECT_EQ(1500ull, common::ToEpoch2000Ms(946684801500ull));
  EXPECT_EQ(5u, common::TimeDifference(10, 5));
  EXPECT_EQ(5u, common::TimeDifference(5, 10));
  EXPECT_EQ(0xFFFFFFFFu, common::TimeDifference(0, 0xFFFFFFFFu));
}

TEST(GeneratorTest, NextAddsFirstAndWraps) {
  common::Generator ids(1);
  EXPECT_EQ(1u, ids.Current());
  EXPECT_EQ(2u, ids.Next());
  EXPECT_EQ(2u, ids.Current());
  common::Generator last(0xFFFFFFFFu);
  EXPECT_EQ(0u, last.Next());
  EXPECT_EQ(1u, last.Next());
}

TEST(RandomTest, SameSeedSameSequence) {
  common::Random a(12345);
  common::Random b(12345);
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(a.Next(), b.Next());
  }
  unsigned seed = 12345;
  common::Random c(12345);
  EXPECT_EQ(rand_r(&seed), c.Next());
}

}  // namespace

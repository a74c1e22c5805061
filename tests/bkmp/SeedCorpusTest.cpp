// The seed corpus of fuzz_bkmp_frame is written and checked here: the
// committed seeds must be frames the library makes today. To write them
// again after a change of the format:
//   BKMP_WRITE_SEEDS=1 test_bkmp --gtest_filter=SeedCorpusTest.*
#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <string>

#include "bkmp/Helpers.h"
#include "support/TempDir.h"

namespace {

using namespace bkmptest;

TEST(SeedCorpusTest, CommittedSeedsAreTheFramesOfToday) {
  std::map<std::string, Bytes> seeds = {
      {"example", kExample},
      {"all_types", Frame(AllTypesMessage().get())},
      {"empty", Frame(NewMessage().get())},
  };
  seeds["two_frames"] = kExample;
  seeds["two_frames"].insert(seeds["two_frames"].end(), seeds["empty"].begin(), seeds["empty"].end());
  MessagePtr most = NewMessage();
  for (int i = 0; i < 511; ++i) {
    EXPECT_EQ(BKMP_OK, BKMPSetFieldUint8(most.get(), std::to_string(i).c_str(), static_cast<uint8_t>(i)));
  }
  EXPECT_EQ(BKMP_OK, BKMPSetFieldUniStr(most.get(), std::string(127, 'K').c_str(), L"\U0010FFFF \u00E9"));
  seeds["most_fields_longest_key"] = Frame(most.get());
  for (const auto& [what, bytes] : MalformedFrames()) {
    if (what == "the same key twice") {
      seeds["bad_duplicate_key"] = bytes;
    } else if (what == "wide character a surrogate") {
      seeds["bad_surrogate"] = bytes;
    }
  }

  const char* write = std::getenv("BKMP_WRITE_SEEDS");
  for (const auto& [name, bytes] : seeds) {
    const std::string file = std::string(BKMP_SEED_DIR) + "/" + name;
    const std::string content(bytes.begin(), bytes.end());
    if (write != nullptr && std::string(write) == "1") {
      testsupport::WriteFile(file, content);
    }
    EXPECT_EQ(content, testsupport::ReadFile(file)) << file << " is stale: write the seeds again";
  }
}

}  // namespace

// The seed corpus of fuzz_bkmp_frame is written by this test and checked by
// it: the committed seeds must be the frames that the library makes today.
// To write them again after a change of the format:
//   BKMP_WRITE_SEEDS=1 test_bkmp --gtest_filter=SeedCorpusTest.*
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "bkmp/Frames.h"
#include "bkmp/Peers.h"
#include "support/TempDir.h"

namespace {

using bkmptest::Bytes;

std::vector<std::pair<std::string, Bytes>> Seeds() {
  std::vector<std::pair<std::string, Bytes>> seeds;
  seeds.emplace_back("example", bkmptest::kExample);
  seeds.emplace_back("all_types", bkmptest::Frame(bkmptest::AllTypesMessage().get()));
  seeds.emplace_back("empty", bkmptest::Frame(bkmptest::NewMessage().get()));

  Bytes two = bkmptest::kExample;
  const Bytes empty = bkmptest::Frame(bkmptest::NewMessage().get());
  two.insert(two.end(), empty.begin(), empty.end());
  seeds.emplace_back("two_frames", two);

  bkmptest::MessagePtr many = bkmptest::NewMessage();
  for (int i = 0; i < 512; ++i) {
    EXPECT_EQ(BKMP_OK, BKMPSetFieldUint8(many.get(), std::to_string(i).c_str(), static_cast<uint8_t>(i)));
  }
  seeds.emplace_back("most_fields", bkmptest::Frame(many.get()));

  bkmptest::MessagePtr wide = bkmptest::NewMessage();
  std::wstring text;
  for (wchar_t c = 0x20; c < 0x20 + 300; ++c) {
    text += c;
  }
  text += L"\U0010FFFF";
  EXPECT_EQ(BKMP_OK, BKMPSetFieldUniStr(wide.get(), std::string(127, 'K').c_str(), text.c_str()));
  seeds.emplace_back("wide_text_longest_key", bkmptest::Frame(wide.get()));

  for (const auto& [what, bytes] : bkmptest::MalformedFrames()) {
    if (what == "the same key twice" || what == "wide character a surrogate") {
      std::string name = "bad_" + what;
      for (char& c : name) {
        c = c == ' ' ? '_' : c;
      }
      seeds.emplace_back(name, bytes);
    }
  }
  return seeds;
}

TEST(SeedCorpusTest, CommittedSeedsAreTheFramesOfToday) {
  const char* write = std::getenv("BKMP_WRITE_SEEDS");
  for (const auto& [name, bytes] : Seeds()) {
    const std::string path = std::string(BKMP_SEED_DIR) + "/" + name;
    const std::string content(bytes.begin(), bytes.end());
    if (write != nullptr && *write == '1') {
      testsupport::WriteFile(path, content);
    }
    EXPECT_EQ(content, testsupport::ReadFile(path)) << path << " is stale: write the seeds again";
  }
}

}  // namespace

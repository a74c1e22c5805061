#include "common/Parameters.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "common/Exceptions.h"

namespace {

using Map = common::Parameters::Map;

// The error text of parsing the arguments behind a program name, or "".
std::string ParseArgs(std::vector<std::string> args, common::Parameters& result) {
  args.insert(args.begin(), "velarnd");
  std::vector<char*> argv;
  for (std::string& arg : args) {
    argv.push_back(arg.data());
  }
  try {
    common::Parameters::Parse(static_cast<int>(argv.size()), argv.data(), result);
    return "";
  } catch (const ParseException& error) {
    return error.what();
  }
}

// The texts of the frame's refusals are pinned by DaemonProcessTest; these
// rows cover the shapes it doesn't send.
TEST(ParametersTest, ParsesNamesAndValuesAndRefusesBadLines) {
  const struct {
    std::vector<std::string> args;
    std::string error;
    Map values;
  } rows[] = {
      {{}, "", {}},
      {{"-a", "1", "-b", "2"}, "", {{"a", "1"}, {"b", "2"}}},
      {{"--x", "-a", "-5"}, "", {{"-x", ""}, {"a", ""}, {"5", ""}}},  // one dash comes off
      {{""}, "invalid options", {}},
      {{"-a", "1", "-a", "2"}, "invalid options (duplicate parameter: \"a\")", {}},
      {{"x"}, "invalid options (no parameter name specified for value: \"x\")", {}},
  };
  common::Parameters p;
  ASSERT_EQ("", ParseArgs({"-old", "1"}, p));
  for (const auto& row : rows) {
    if (row.error.empty()) {
      EXPECT_EQ("", ParseArgs(row.args, p));
      EXPECT_EQ(row.values, p.Values());  // an earlier result is emptied
    } else {
      EXPECT_EQ(row.error, ParseArgs(row.args, p));
    }
  }
  ASSERT_EQ("", ParseArgs({"-a", "-b"}, p));
  std::string value = "untouched";
  EXPECT_TRUE(p.Has("a") && p.Get("a", value));
  EXPECT_EQ("", value);
  value = "untouched";
  EXPECT_FALSE(p.Has("c") || p.Get("c", value));
  EXPECT_EQ("untouched", value);
}

}  // namespace

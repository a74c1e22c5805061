#include "common/Parameters.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "common/Exceptions.h"

namespace {

// Parses the arguments behind a program name; returns the error text or "".
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

using Map = common::Parameters::Map;

TEST(ParametersTest, AcceptsNamesWithAndWithoutValues) {
  common::Parameters p;
  EXPECT_EQ("", ParseArgs({}, p));
  EXPECT_TRUE(p.Values().empty());

  EXPECT_EQ("", ParseArgs({"-a", "1", "-b", "2"}, p));
  EXPECT_EQ((Map{{"a", "1"}, {"b", "2"}}), p.Values());

  EXPECT_EQ("", ParseArgs({"-a", "-b"}, p));
  EXPECT_EQ((Map{{"a", ""}, {"b", ""}}), p.Values());

  // Only one dash comes off; a value can't begin with a dash.
  EXPECT_EQ("", ParseArgs({"--x", "-a", "-5"}, p));
  EXPECT_EQ((Map{{"-x", ""}, {"a", ""}, {"5", ""}}), p.Values());

  std::string value = "untouched";
  EXPECT_TRUE(p.Has("a"));
  EXPECT_TRUE(p.Get("a", value));
  EXPECT_EQ("", value);
  value = "untouched";
  EXPECT_FALSE(p.Has("b"));
  EXPECT_FALSE(p.Get("b", value));
  EXPECT_EQ("untouched", value);
}

TEST(ParametersTest, ParseEmptiesAnEarlierResult) {
  common::Parameters p;
  ASSERT_EQ("", ParseArgs({"-old", "1"}, p));
  ASSERT_EQ("", ParseArgs({"-new"}, p));
  EXPECT_EQ((Map{{"new", ""}}), p.Values());
}

TEST(ParametersTest, RefusesBadCommandLinesWithExactTexts) {
  common::Parameters p;
  EXPECT_EQ("invalid options", ParseArgs({""}, p));
  EXPECT_EQ("invalid options", ParseArgs({"-a", ""}, p));
  EXPECT_EQ("invalid options (invalid parameter name)", ParseArgs({"-"}, p));
  EXPECT_EQ("invalid options (duplicate parameter: \"a\")", ParseArgs({"-a", "1", "-a", "2"}, p));
  EXPECT_EQ("invalid options (duplicate parameter: \"a\")", ParseArgs({"-a", "-a"}, p));
  EXPECT_EQ("invalid options (no parameter name specified for value: \"2\")", ParseArgs({"-a", "1", "2"}, p));
  EXPECT_EQ("invalid options (no parameter name specified for value: \"x\")", ParseArgs({"x"}, p));
}

}  // namespace

#pragma once

// velarnctl run as a child process, the way an operator or a script runs it.

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace clitest {

struct Result {
  int status = -1;     // the exit status; -1 if it didn't end in time or was killed
  std::string output;  // standard output and error together
};

// Runs velarnctl with args to its end (bounded), input on its standard input.
Result Velarnctl(const std::vector<std::string>& args, const std::string& input = "");

// Whether text holds every one of parts; a failure names the first missing
// part and shows the text.
testing::AssertionResult HasAll(const std::string& text, const std::vector<std::string>& parts);

}  // namespace clitest

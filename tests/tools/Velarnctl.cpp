#include "Velarnctl.h"

#include <sys/wait.h>

#include <gtest/gtest.h>

#include "support/Process.h"

namespace clitest {

Result Velarnctl(const std::vector<std::string>& args, const std::string& input) {
  std::vector<std::string> argv = {VELARNCTL_BINARY};
  argv.insert(argv.end(), args.begin(), args.end());
  testsupport::ChildProcess::Options options;
  options.captureInput = true;
  testsupport::ChildProcess child(argv, options);
  child.WriteInput(input);
  child.CloseInput();
  Result result;
  int status = 0;
  EXPECT_TRUE(child.Wait(std::chrono::seconds(20), status)) << "velarnctl didn't end";
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  result.output = child.Output();
  return result;
}

testing::AssertionResult HasAll(const std::string& text, const std::vector<std::string>& parts) {
  for (const std::string& part : parts) {
    if (text.find(part) == std::string::npos) {
      return testing::AssertionFailure() << "missing: " << part << "\n--- in:\n" << text;
    }
  }
  return testing::AssertionSuccess();
}

}  // namespace clitest

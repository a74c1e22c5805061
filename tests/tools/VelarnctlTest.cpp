#include <sys/wait.h>

#include <gtest/gtest.h>

#include "support/Process.h"

namespace {

using namespace std::chrono_literals;

TEST(VelarnctlTest, HelpListsCommandsAndUnknownCommandsFail) {
  const testsupport::RunResult help = testsupport::Run({VELARNCTL_BINARY, "--help"}, 10s);
  ASSERT_TRUE(help.finished);
  EXPECT_EQ(0, WEXITSTATUS(help.status));
  EXPECT_NE(std::string::npos, help.output.find("usage: velarnctl COMMAND")) << help.output;

  const testsupport::RunResult unknown = testsupport::Run({VELARNCTL_BINARY, "nonsense"}, 10s);
  ASSERT_TRUE(unknown.finished);
  EXPECT_EQ(2, WEXITSTATUS(unknown.status));
  EXPECT_NE(std::string::npos, unknown.output.find("unknown command \"nonsense\"")) << unknown.output;

  const testsupport::RunResult none = testsupport::Run({VELARNCTL_BINARY}, 10s);
  ASSERT_TRUE(none.finished);
  EXPECT_EQ(2, WEXITSTATUS(none.status));
}

}  // namespace

#include "common/Exceptions.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>

namespace {

TEST(ExceptionsTest, IOExceptionAppendsErrnoAndKeepsItsText) {
  const IOException error("can't connect", ECONNREFUSED);
  const char* first = error.what();
  EXPECT_EQ("can't connect (errno " + std::to_string(ECONNREFUSED) + ": " + std::strerror(ECONNREFUSED) + ")",
            first);
  EXPECT_EQ(first, error.what());  // built once, not per call
  EXPECT_EQ(ECONNREFUSED, error.GetErrorNumber());
  const std::exception& base = error;
  EXPECT_EQ(first, base.what());
}

}  // namespace

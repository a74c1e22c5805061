#include "common/Exceptions.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>

namespace {

TEST(ExceptionsTest, IOExceptionAppendsErrnoAndKeepsItsText) {
  const IOException error("can't connect", ECONNREFUSED);
  const std::string expected = std::string("can't connect (errno ") + std::to_string(ECONNREFUSED) + ": " +
                               std::strerror(ECONNREFUSED) + ")";
  const char* first = error.what();
  EXPECT_EQ(expected, first);
  // The second call returns the text built by the first, not a new one.
  EXPECT_EQ(first, error.what());
  EXPECT_EQ(ECONNREFUSED, error.GetErrorNumber());

  // Caught as its base, the formatted text still shows.
  try {
    throw IOException("can't lock lock-file", EAGAIN);
  } catch (const std::exception& caught) {
    EXPECT_EQ(std::string("can't lock lock-file (errno 11: ") + std::strerror(EAGAIN) + ")", caught.what());
  }
}

}  // namespace

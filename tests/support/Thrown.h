#pragma once

#include <string>

namespace testsupport {

// The what() of the exception of type E that call throws, "no failure" if it
// returns. Any other exception type escapes and fails the test.
template <class E, class F>
std::string Thrown(F&& call) {
  try {
    call();
  } catch (const E& error) {
    return error.what();
  }
  return "no failure";
}

}  // namespace testsupport

#include "support/Wait.h"

#include <thread>

namespace testsupport {

bool WaitUntil(const std::function<bool()>& condition, std::chrono::milliseconds timeout,
               std::chrono::milliseconds poll) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  for (;;) {
    if (condition()) {
      return true;
    }
    if (std::chrono::steady_clock::now() >= deadline) {
      return condition();
    }
    std::this_thread::sleep_for(poll);
  }
}

}  // namespace testsupport

#pragma once

#include <chrono>
#include <functional>

namespace testsupport {

// Polls condition every few milliseconds until it holds or the time is up.
// Tests wait on conditions with a deadline instead of sleeping a fixed time.
bool WaitUntil(const std::function<bool()>& condition, std::chrono::milliseconds timeout,
               std::chrono::milliseconds poll = std::chrono::milliseconds(2));

}  // namespace testsupport

#include "velarnctl/UnitOutput.h"

#include "velarnctl/Meanings.h"

#include <algorithm>
#include <cstdio>
#include <ostream>

namespace velarnctl {

UnitOutput::UnitOutput(std::ostream& out, bool timestamps, bool json)
    : out(out), timestamps(timestamps), json(json), start(std::chrono::steady_clock::now()) {}

void UnitOutput::Line(const std::string& text) { Emit(text, true); }

void UnitOutput::Print(const std::string& text) { Emit(text, false); }

void UnitOutput::Emit(const std::string& text, bool note) {
  std::lock_guard<std::mutex> lock(mutex);
  std::string::size_type begin = 0;
  std::string block;  // all lines, written at once
  for (;;) {
    const std::string::size_type end = text.find('\n', begin);
    std::string line = text.substr(begin, end == std::string::npos ? std::string::npos : end - begin);
    if (json && note) {
      line = JsonLine({{"note", line}});
    }
    if (timestamps) {
      const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
      char stamp[32];
      // A JSON line is an object that has members: the stamp becomes its first.
      std::snprintf(stamp, sizeof(stamp), json ? "{\"t\":%.3f," : "[%8.3f] ", seconds);
      block += stamp + (json ? line.substr(1) : line);
    } else {
      block += line;
    }
    block += '\n';
    unread.push_back(line);
    if (unread.size() > kKept) {
      unread.pop_front();
      ++forgotten;
    }
    if (end == std::string::npos || end + 1 == text.size()) {
      break;
    }
    begin = end + 1;
  }
  out << block << std::flush;
  printed.notify_all();
}

UnitOutput::WaitResult UnitOutput::WaitFor(const std::regex& pattern, std::chrono::milliseconds timeout,
                                           const std::atomic<bool>& stop) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  std::unique_lock<std::mutex> lock(mutex);
  // Counted from the first line ever printed, so that lines forgotten at
  // the front meanwhile don't shift the place reached.
  uint64_t searched = forgotten;
  for (;;) {
    for (searched = std::max(searched, forgotten); searched - forgotten < unread.size(); ++searched) {
      if (std::regex_search(unread[searched - forgotten], pattern)) {
        const uint64_t consumed = searched - forgotten + 1;
        unread.erase(unread.begin(), unread.begin() + static_cast<std::ptrdiff_t>(consumed));
        forgotten += consumed;
        return WaitResult::Matched;
      }
    }
    if (stop) {
      return WaitResult::Stopped;
    }
    const auto now = std::chrono::steady_clock::now();
    if (now >= deadline) {
      return WaitResult::TimedOut;
    }
    // Short rounds, so that a stop request is seen soon.
    printed.wait_for(
        lock, std::min<std::chrono::steady_clock::duration>(deadline - now, std::chrono::milliseconds(100)));
  }
}

}  // namespace velarnctl

#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <iosfwd>
#include <mutex>
#include <regex>
#include <string>

namespace velarnctl {

// Where the unit simulator reports what it sees and does: one line per
// event, written whole and flushed at once, whichever thread reports it. The
// lines are also kept for `wait`, in the manner of expect: a wait looks at the
// lines printed since the line that satisfied the previous wait, and a match
// consumes everything up to and including the matching line. So a reply that
// arrives before the script reaches its wait is still found, and one line
// never satisfies two waits. At most kKept lines wait to be looked at; older
// ones are forgotten.
class UnitOutput {
 public:
  static const size_t kKept = 10000;

  enum class WaitResult { Matched, TimedOut, Stopped };

  // timestamps: prefix every line with the seconds since construction
  // ("[  12.345] "); patterns are matched against the line without it.
  // json: every line is a JSON object; the time stamp is then its first
  // member, "t".
  UnitOutput(std::ostream& out, bool timestamps, bool json = false);

  // Prints a note (a line that isn't a PDU report); several lines if it
  // holds line feeds. In JSON each line becomes {"note": "line"}.
  void Line(const std::string& text);
  // Prints text as it is: lines already in their final form.
  void Print(const std::string& text);

  // Searches the unread lines, then new ones as they come, for one in which
  // pattern matches (anywhere). Gives up after timeout, or soon after stop is
  // set.
  WaitResult WaitFor(const std::regex& pattern, std::chrono::milliseconds timeout,
                     const std::atomic<bool>& stop);

 private:
  std::mutex mutex;
  std::condition_variable printed;
  std::ostream& out;
  void Emit(const std::string& text, bool note);

  bool timestamps;
  bool json;
  std::chrono::steady_clock::time_point start;
  std::deque<std::string> unread;
  uint64_t forgotten = 0;  // lines that left the front of unread so far
};

}  // namespace velarnctl

#include "velarn/AppEventLog.h"

#include <chrono>
#include <sstream>

namespace linktest {

void Log::Add(const std::string& line) {
  std::lock_guard<std::mutex> lock(mutex);
  lines.push_back(line);
  changed.notify_all();
}

std::vector<std::string> Log::Lines() {
  std::lock_guard<std::mutex> lock(mutex);
  return lines;
}

std::vector<std::string> Log::Starting(const std::string& prefix) {
  std::lock_guard<std::mutex> lock(mutex);
  std::vector<std::string> result;
  for (const std::string& line : lines) {
    if (line.compare(0, prefix.size(), prefix) == 0) {
      result.push_back(line);
    }
  }
  return result;
}

bool Log::WaitFor(const std::string& prefix, size_t count, int timeoutMs) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
  std::unique_lock<std::mutex> lock(mutex);
  for (;;) {
    size_t seen = 0;
    for (const std::string& line : lines) {
      seen += line.compare(0, prefix.size(), prefix) == 0 ? 1 : 0;
    }
    if (seen >= count) {
      return true;
    }
    if (changed.wait_until(lock, deadline) == std::cv_status::timeout) {
      return false;
    }
  }
}

void Log::Clear() {
  std::lock_guard<std::mutex> lock(mutex);
  lines.clear();
}

std::string Dump(const common::Buffer& buffer) {
  std::ostringstream text;
  text << buffer;
  return text.str();
}

std::string Describe(const std::vector<velarn::StatusTableRow>& table) {
  std::string text;
  for (const velarn::StatusTableRow& row : table) {
    text += (text.empty() ? "" : ",") + std::to_string(row.key) + "=" + row.text;
  }
  return text;
}

void AppEventLog::OnConnected(bool newSession) { log.Add("connected " + std::to_string(newSession)); }

void AppEventLog::OnInterrupted() { log.Add("interrupted"); }

void AppEventLog::OnReceivedMessage(const common::Buffer& message, bool valid) {
  log.Add("message " + Dump(message) + " valid " + std::to_string(valid));
}

void AppEventLog::OnStatusTableModified(const std::vector<velarn::StatusTableRow>& table) {
  log.Add("table " + Describe(table));
}

void AppEventLog::OnNewGPSFix(const velarn::GPSFix& fix, const velarn::GPSFixEx& fixEx) {
  log.Add(std::string("gps ") + static_cast<char>(fix.status) + " " + std::to_string(fix.satellites) + " " +
          static_cast<char>(fixEx.status));
}

void AppEventLog::OnNewLogbookInfo(const velarn::LogbookData& logbook) {
  log.Add("logbook " + std::to_string(logbook.mode) + " " + std::to_string(logbook.odometer));
}

void AppEventLog::OnZuParamRequest(const std::string& name) { log.Add("zu-param " + name); }

void AppEventLog::OnVelarnParamResponse(const std::string& name, const common::Buffer& value) {
  log.Add("param-value " + name + " " + Dump(value));
}

void AppEventLog::OnVelarnParamNotFound(const std::string& name) { log.Add("param-unknown " + name); }

void AppEventLog::OnVelarnParamChanged(const std::string& name) { log.Add("param-changed " + name); }

void AppEventLog::OnNetworkRegistrationChanged(unsigned status, unsigned extra) {
  log.Add("registration " + std::to_string(status) + " " + std::to_string(extra));
}

}  // namespace linktest

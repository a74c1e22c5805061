#include "velarn/LinkLog.h"

#include <chrono>
#include <sstream>

#include "common/Buffer.h"
#include "velarn/ScriptedUnit.h"

namespace linktest {

void Log::Add(const std::string& text) {
  const int64_t now = NowUs();
  std::lock_guard<std::mutex> lock(mutex);
  entries.push_back(Entry{text, now});
  changed.notify_all();
}

std::vector<std::string> Log::Lines() {
  std::lock_guard<std::mutex> lock(mutex);
  std::vector<std::string> lines;
  for (const Entry& entry : entries) {
    lines.push_back(entry.text);
  }
  return lines;
}

std::vector<Log::Entry> Log::Starting(const std::string& prefix) {
  std::lock_guard<std::mutex> lock(mutex);
  std::vector<Entry> result;
  for (const Entry& entry : entries) {
    if (entry.text.compare(0, prefix.size(), prefix) == 0) {
      result.push_back(entry);
    }
  }
  return result;
}

bool Log::WaitFor(const std::string& prefix, size_t count, int timeoutMs) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
  std::unique_lock<std::mutex> lock(mutex);
  for (;;) {
    size_t seen = 0;
    for (const Entry& entry : entries) {
      seen += entry.text.compare(0, prefix.size(), prefix) == 0 ? 1 : 0;
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
  entries.clear();
}

std::string Dump(const common::Buffer& buffer) {
  std::ostringstream text;
  text << buffer;
  return text.str();
}

void AppEventLog::OnReceivedMessage(const common::Buffer& message, bool valid) {
  log.Add("message " + Dump(message) + " valid " + std::to_string(valid));
}

void AppEventLog::OnStatusTableModified(const std::vector<velarn::StatusTableRow>& table) {
  std::string text = "table ";
  for (size_t i = 0; i < table.size(); ++i) {
    text += (i == 0 ? "" : ",") + std::to_string(table[i].key) + "=" + table[i].text;
  }
  log.Add(text);
}

void AppEventLog::OnNewGPSFix(const velarn::GPSFix& fix, const velarn::GPSFixEx& fixEx) {
  log.Add(std::string("gps ") + static_cast<char>(fix.status) + " " + std::to_string(fix.satellites) + " " +
          std::to_string(fixEx.satelliteCount));
}

void AppEventLog::OnNewLogbookInfo(const velarn::LogbookData& logbook) {
  log.Add("logbook " + std::to_string(logbook.mode) + " " + std::to_string(logbook.odometer));
}

void AppEventLog::OnVelarnParamResponse(const std::string& name, const common::Buffer& value) {
  log.Add("param-value " + name + " " + Dump(value));
}

void AppEventLog::OnNetworkRegistrationChanged(unsigned status, unsigned extra) {
  log.Add("registration " + std::to_string(status) + " " + std::to_string(extra));
}

}  // namespace linktest

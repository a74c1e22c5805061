#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "velarn/IApplicationLayerEventHandler.h"
#include "velarn/ITransportLayerEventHandler.h"
#include "velarn/IVelarnEventHandler.h"

namespace linktest {

// Events of the layers as lines of text, stamped with the system clock (the
// clock of the timers). Threads of the stack append; the test thread reads
// and waits with deadlines.
class Log {
 public:
  struct Entry {
    std::string text;
    int64_t atUs;
  };
  void Add(const std::string& text);
  std::vector<std::string> Lines();
  // Entries whose text begins with prefix, in order.
  std::vector<Entry> Starting(const std::string& prefix);
  size_t Count(const std::string& prefix) { return Starting(prefix).size(); }
  // Waits until count entries begin with prefix; false on time-out.
  bool WaitFor(const std::string& prefix, size_t count, int timeoutMs);
  void Clear();

 private:
  std::mutex mutex;
  std::condition_variable changed;
  std::vector<Entry> entries;
};

// "ab:cd", as common::Buffer prints.
std::string Dump(const common::Buffer& buffer);

// The transport's events: "connected 1", "interrupted", "received 04:06".
class TransportEventLog : public velarn::ITransportLayerEventHandler {
 public:
  explicit TransportEventLog(Log& log) : log(log) {}
  void OnConnected(bool newSession) override { log.Add("connected " + std::to_string(newSession)); }
  void OnInterrupted() override { log.Add("interrupted"); }
  void OnReceived(const common::Buffer& payload) override { log.Add("received " + Dump(payload)); }

 private:
  Log& log;
};

// The application layer's events: "connected 1", "interrupted", "message
// 01:02 valid 1", "table 7=a,9=b", "gps A 5 A", "logbook 2 1234", "zu-param
// GPF", "param-value ZUK 01", "param-unknown ZUK", "param-changed ZUK",
// "registration 49 52".
class AppEventLog : public velarn::IApplicationLayerEventHandler {
 public:
  explicit AppEventLog(Log& log) : log(log) {}
  void OnConnected(bool newSession) override { log.Add("connected " + std::to_string(newSession)); }
  void OnInterrupted() override { log.Add("interrupted"); }
  void OnReceivedMessage(const common::Buffer& message, bool valid) override;
  void OnStatusTableModified(const std::vector<velarn::StatusTableRow>& table) override;
  void OnNewGPSFix(const velarn::GPSFix& fix, const velarn::GPSFixEx& fixEx) override;
  void OnNewLogbookInfo(const velarn::LogbookData& logbook) override;
  void OnZuParamRequest(const std::string& name) override { log.Add("zu-param " + name); }
  void OnVelarnParamResponse(const std::string& name, const common::Buffer& value) override;
  void OnVelarnParamNotFound(const std::string& name) override { log.Add("param-unknown " + name); }
  void OnVelarnParamChanged(const std::string& name) override { log.Add("param-changed " + name); }
  void OnNetworkRegistrationChanged(unsigned status, unsigned extra) override;

 private:
  Log& log;
};

// The same lines for the daemon's side of the driver.
class DriverEventLog : public velarn::IVelarnEventHandler {
 public:
  explicit DriverEventLog(Log& log) : app(log) {}
  using Driver = velarn::IVelarnDriver;
  void OnConnected(Driver&, bool newSession) override { app.OnConnected(newSession); }
  void OnInterrupted(Driver&) override { app.OnInterrupted(); }
  void OnReceivedMessage(Driver&, const common::Buffer& m, bool valid) override {
    app.OnReceivedMessage(m, valid);
  }
  void OnStatusTableModified(Driver&, const std::vector<velarn::StatusTableRow>& t) override {
    app.OnStatusTableModified(t);
  }
  void OnNewGPSFix(Driver&, const velarn::GPSFix& f, const velarn::GPSFixEx& x) override {
    app.OnNewGPSFix(f, x);
  }
  void OnNewLogbookInfo(Driver&, const velarn::LogbookData& l) override { app.OnNewLogbookInfo(l); }
  void OnZuParamRequest(Driver&, const std::string& n) override { app.OnZuParamRequest(n); }
  void OnVelarnParamResponse(Driver&, const std::string& n, const common::Buffer& v) override {
    app.OnVelarnParamResponse(n, v);
  }
  void OnVelarnParamNotFound(Driver&, const std::string& n) override { app.OnVelarnParamNotFound(n); }
  void OnVelarnParamChanged(Driver&, const std::string& n) override { app.OnVelarnParamChanged(n); }
  void OnNetworkRegistrationChanged(Driver&, unsigned s, unsigned e) override {
    app.OnNetworkRegistrationChanged(s, e);
  }

 private:
  AppEventLog app;
};

}  // namespace linktest

#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include "common/Buffer.h"
#include "velarn/IApplicationLayerEventHandler.h"
#include "velarn/IVelarnEventHandler.h"

namespace linktest {

// A list of lines that several threads append to and the test thread waits
// on, with deadlines.
class Log {
 public:
  void Add(const std::string& line);
  std::vector<std::string> Lines();
  // Lines that begin with prefix, in order.
  std::vector<std::string> Starting(const std::string& prefix);
  // Waits until count lines begin with prefix; false on time-out.
  bool WaitFor(const std::string& prefix, size_t count, int timeoutMs);
  void Clear();

 private:
  std::mutex mutex;
  std::condition_variable changed;
  std::vector<std::string> lines;
};

// "ab:cd" for a buffer, as common::Buffer prints it.
std::string Dump(const common::Buffer& buffer);
std::string Describe(const std::vector<velarn::StatusTableRow>& table);

// Writes every application-layer event into a log as one line:
// "connected 1", "interrupted", "message 01:02 valid 1", "table 7=a,9=b",
// "gps A 5 A", "logbook 2 1234", "zu-param GPF", "param-value ZUK 01",
// "param-unknown ZUK", "param-changed ZUK", "registration 49 52".
class AppEventLog : public velarn::IApplicationLayerEventHandler {
 public:
  explicit AppEventLog(Log& log) : log(log) {}
  void OnConnected(bool newSession) override;
  void OnInterrupted() override;
  void OnReceivedMessage(const common::Buffer& message, bool valid) override;
  void OnStatusTableModified(const std::vector<velarn::StatusTableRow>& table) override;
  void OnNewGPSFix(const velarn::GPSFix& fix, const velarn::GPSFixEx& fixEx) override;
  void OnNewLogbookInfo(const velarn::LogbookData& logbook) override;
  void OnZuParamRequest(const std::string& name) override;
  void OnVelarnParamResponse(const std::string& name, const common::Buffer& value) override;
  void OnVelarnParamNotFound(const std::string& name) override;
  void OnVelarnParamChanged(const std::string& name) override;
  void OnNetworkRegistrationChanged(unsigned status, unsigned extra) override;

 private:
  Log& log;
};

// The same lines for the daemon's side of the driver.
class DriverEventLog : public velarn::IVelarnEventHandler {
 public:
  explicit DriverEventLog(Log& log) : app(log) {}
  void OnConnected(velarn::IVelarnDriver&, bool newSession) override { app.OnConnected(newSession); }
  void OnInterrupted(velarn::IVelarnDriver&) override { app.OnInterrupted(); }
  void OnReceivedMessage(velarn::IVelarnDriver&, const common::Buffer& message, bool valid) override {
    app.OnReceivedMessage(message, valid);
  }
  void OnStatusTableModified(velarn::IVelarnDriver&,
                             const std::vector<velarn::StatusTableRow>& table) override {
    app.OnStatusTableModified(table);
  }
  void OnNewGPSFix(velarn::IVelarnDriver&, const velarn::GPSFix& fix,
                   const velarn::GPSFixEx& fixEx) override {
    app.OnNewGPSFix(fix, fixEx);
  }
  void OnNewLogbookInfo(velarn::IVelarnDriver&, const velarn::LogbookData& logbook) override {
    app.OnNewLogbookInfo(logbook);
  }
  void OnZuParamRequest(velarn::IVelarnDriver&, const std::string& name) override {
    app.OnZuParamRequest(name);
  }
  void OnVelarnParamResponse(velarn::IVelarnDriver&, const std::string& name,
                             const common::Buffer& value) override {
    app.OnVelarnParamResponse(name, value);
  }
  void OnVelarnParamNotFound(velarn::IVelarnDriver&, const std::string& name) override {
    app.OnVelarnParamNotFound(name);
  }
  void OnVelarnParamChanged(velarn::IVelarnDriver&, const std::string& name) override {
    app.OnVelarnParamChanged(name);
  }
  void OnNetworkRegistrationChanged(velarn::IVelarnDriver&, unsigned status, unsigned extra) override {
    app.OnNetworkRegistrationChanged(status, extra);
  }

 private:
  AppEventLog app;
};

}  // namespace linktest

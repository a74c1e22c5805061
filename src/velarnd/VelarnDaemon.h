#pragma once

#include <netinet/in.h>

#include <condition_variable>
#include <mutex>
#include <string>

#include "common/ADaemon.h"

namespace velarnd {

// The service's daemon. Main() checks the parameters in a fixed order, each
// failure a std::runtime_error with its exact text:
//   svraddr    required  "you must specify the server address (svraddr)"
//   dbfile     required  "you must specify the database file (dbfile)"
//   zuaddr     required  "you must specify the ZU's address (zuaddr)",
//                        "invalid address (zuaddr)"
//   velarnaddr required  "you must specify the velarn's address (velarnaddr)",
//                        "invalid address (velarnaddr)"
//   ctxfile    required  "you must specify the velarn's context file (ctxfile)"
//   gpspipe    optional
// Unknown parameters are ignored.
//
// Current state: the database, the unit driver, the GPS feeder, the
// application and the navigation event loop are not assembled yet. After its
// checks Main() waits until OnSignal asks it to stop (SIGINT, SIGTERM, and
// SIGHUP in console mode) and returns 0.
class VelarnDaemon : public common::ADaemon {
 public:
  VelarnDaemon(int argc, char** argv);

 protected:
  int Main() override;
  void OnSignal(int signalNumber) override;

 private:
  // The checked parameters, in the order of the checks.
  struct Settings {
    std::string serverAddress;
    std::string databaseFile;
    sockaddr_in unitLocalAddress{};
    sockaddr_in unitPeerAddress{};
    std::string contextFile;
    bool hasGpsPipe = false;
    std::string gpsPipe;
  };

  std::string Require(const char* name, const char* absentText) const;
  sockaddr_in RequireAddress(const char* name, const char* absentText, const char* invalidText) const;
  Settings ReadSettings() const;

  void RequestStop();
  void WaitForStop();

  std::mutex stopMutex;
  std::condition_variable stopChanged;
  bool stopRequested = false;
};

}  // namespace velarnd

#pragma once

#include <netinet/in.h>

#include <string>

#include "bkcom/EventLoop.h"
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
//   checkpoint optional  "invalid number of seconds (checkpoint)": 0 to 86400,
//                        default 5; how often the database is written while
//                        it changes, 0 only at the start and the stop
//   gpspipe    optional
// Unknown parameters are ignored.
//
// Then it assembles the service on its own stack: the database (loaded, or
// written new when it can't be read), the unit driver with its two layer
// factories, the GPS feeder (a named pipe when gpspipe is given, else one
// that drops everything), the application over these three, and lends the
// main thread to the navigation event loop until OnSignal stops it (SIGINT,
// SIGTERM, and SIGHUP in console mode). The loop's end writes the database,
// the driver's stop writes the context file (and the database again if the
// unit's last events changed it). Main() returns 0, or the sum of the
// kExit... values that apply, so that a supervisor sees a stop that lost
// something.
class VelarnDaemon : public common::ADaemon {
 public:
  // No server for the navigation application could be created: the service
  // never served it and ended at once.
  static constexpr int kExitNoNavigationServer = 1;
  // The database couldn't be written at the stop.
  static constexpr int kExitDatabaseNotWritten = 2;
  // The transport context couldn't be written at the stop.
  static constexpr int kExitContextNotWritten = 4;
  // The largest value of -checkpoint: a day.
  static constexpr unsigned kMaxCheckpointSeconds = 86400;
  static constexpr unsigned kDefaultCheckpointSeconds = 5;

  VelarnDaemon(int argc, char** argv);

 protected:
  int Main() override;
  void OnSignal(int signalNumber) override;

 private:
  std::string Require(const char* name, const char* absentText) const;
  sockaddr_in RequireAddress(const char* name, const char* absentText, const char* invalidText) const;
  unsigned CheckpointSeconds() const;

  // Built with the daemon, so that a signal can stop it from the first
  // moment on.
  bkcom::EventLoop eventLoop;
};

}  // namespace velarnd

#pragma once

#include <boost/noncopyable.hpp>
#include <boost/thread/thread.hpp>

#include <atomic>

#include "common/Parameters.h"

namespace common {

// The frame of a Unix daemon: parses the command line, detaches from the
// terminal unless "-console" is given, takes the lock file ("-lockfile PATH",
// which doubles as pid file), confines every signal to one thread, and brackets
// the derived class's work with Prepare/Main/Finish. Signals are fetched
// synchronously and handed to OnSignal; nothing else reacts to them, so a
// signal that OnSignal ignores is ignored, whatever its default action.
//
// After the fork descriptors 0, 1 and 2 point at /dev/null rather than staying
// closed, so that a stray write to standard output can never land in a file or
// socket that later received one of those numbers.
class ADaemon : private boost::noncopyable {
 public:
  // Parses the command line; a ParseException leaves the constructor.
  ADaemon(int argc, char** argv);
  virtual ~ADaemon();

  // The whole life of the daemon; returns the result of Main(), or 0 in the
  // parent process of a detached daemon.
  int Run();

  const Parameters& GetParameters() const { return parameters; }
  bool IsConsole() const;

 protected:
  // Once, after the lock file is held and before signals are blocked.
  virtual void Prepare() {}
  // Once, with all signals blocked and the signal thread running.
  virtual int Main() = 0;
  // Once, after Main() returned and the signal thread was joined.
  virtual void Finish() {}
  // On the signal thread, for every signal that arrives while Main() runs.
  virtual void OnSignal(int /*signalNumber*/) {}

 private:
  // Fetches all signals with sigwaitinfo and calls OnSignal. Its
  // destructor stops and joins the thread, so that the thread never outlives
  // the objects it reads, also when Main() throws.
  class SignalThread : private boost::noncopyable {
   public:
    explicit SignalThread(ADaemon& daemon);
    ~SignalThread();
    // Sets the flag and wakes the thread from its wait with a signal meant
    // for it alone, which it fetches but doesn't pass on.
    void Stop();
    void Join();

   private:
    void Loop();

    std::atomic<bool> stop;
    ADaemon* daemon;
    boost::thread thread;
  };

  void Detach();
  void TakeLockFile(const std::string& path);

  Parameters parameters;
};

}  // namespace common

#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

namespace testsupport {

// A child process running a real binary, with its standard output and error
// captured through one pipe. Every wait is bounded; the destructor kills and
// reaps a child that is still running, so a failing test never leaves one.
class ChildProcess {
 public:
  struct Options {
    int umask = -1;             // set in the child before exec when not -1
    bool captureInput = false;  // give the child a pipe as standard input
  };

  ChildProcess(const std::vector<std::string>& argv, const Options& options);
  explicit ChildProcess(const std::vector<std::string>& argv) : ChildProcess(argv, Options()) {}
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  pid_t Pid() const { return pid; }

  // Waits for the end of the child; false on time-out. status is waitpid's.
  bool Wait(std::chrono::milliseconds timeout, int& status);
  bool Running();
  void Signal(int signalNumber);

  // Writes to the child's standard input (captureInput) and closes it.
  void WriteInput(const std::string& text);
  void CloseInput();

  // Everything the child wrote so far (reads what is available, no blocking).
  const std::string& Output();
  // Waits until the output contains text; false on time-out.
  bool WaitForOutput(const std::string& text, std::chrono::milliseconds timeout);

 private:
  void Drain(int timeoutMs);

  pid_t pid = -1;
  int outputFd = -1;
  int inputFd = -1;
  bool reaped = false;
  std::string output;
};

// Runs a command to its end (bounded) and returns waitpid's status and the output.
struct RunResult {
  bool finished = false;
  int status = 0;
  std::string output;
};
RunResult Run(const std::vector<std::string>& argv, std::chrono::milliseconds timeout,
              const ChildProcess::Options& options = ChildProcess::Options());

// Makes this process the reaper of its orphaned descendants, so that a daemon
// that detached from a child of ours can be waited for with waitpid.
void BecomeSubreaper();

// Waits for a process that is not our direct child (needs BecomeSubreaper).
bool WaitForPid(pid_t pid, std::chrono::milliseconds timeout, int& status);

}  // namespace testsupport

#include "support/Process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <stdexcept>
#include <thread>

namespace testsupport {

namespace {

int64_t NowMs() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& argv, const Options& options) {
  int out[2];
  int in[2] = {-1, -1};
  if (pipe2(out, O_CLOEXEC) != 0 || (options.captureInput && pipe2(in, O_CLOEXEC) != 0)) {
    throw std::runtime_error("pipe failed");
  }
  pid = fork();
  if (pid < 0) {
    throw std::runtime_error("fork failed");
  }
  if (pid == 0) {
    dup2(out[1], 1);
    dup2(out[1], 2);
    if (options.captureInput) {
      dup2(in[0], 0);
    } else {
      const int null = open("/dev/null", O_RDONLY);
      dup2(null, 0);
    }
    if (options.umask >= 0) {
      umask(static_cast<mode_t>(options.umask));
    }
    // Undo anything the test process may have blocked.
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    std::vector<char*> args;
    for (const std::string& arg : argv) {
      args.push_back(const_cast<char*>(arg.c_str()));
    }
    args.push_back(nullptr);
    execv(args[0], args.data());
    _exit(127);
  }
  close(out[1]);
  outputFd = out[0];
  fcntl(outputFd, F_SETFL, O_NONBLOCK);
  if (options.captureInput) {
    close(in[0]);
    inputFd = in[1];
  }
}

ChildProcess::~ChildProcess() {
  if (!reaped && pid > 0) {
    kill(pid, SIGKILL);
    int status = 0;
    waitpid(pid, &status, 0);
  }
  CloseInput();
  if (outputFd >= 0) {
    close(outputFd);
  }
}

bool ChildProcess::Wait(std::chrono::milliseconds timeout, int& status) {
  const int64_t deadline = NowMs() + timeout.count();
  while (!reaped) {
    const pid_t done = waitpid(pid, &status, WNOHANG);
    if (done == pid) {
      reaped = true;
      Drain(0);
      return true;
    }
    if (NowMs() >= deadline) {
      return false;
    }
    Drain(10);
  }
  return true;
}

bool ChildProcess::Running() {
  if (reaped) {
    return false;
  }
  int status = 0;
  if (waitpid(pid, &status, WNOHANG) == pid) {
    reaped = true;
    return false;
  }
  return true;
}

void ChildProcess::Signal(int signalNumber) {
  if (!reaped) {
    kill(pid, signalNumber);
  }
}

void ChildProcess::WriteInput(const std::string& text) {
  size_t done = 0;
  while (inputFd >= 0 && done < text.size()) {
    const ssize_t n = write(inputFd, text.data() + done, text.size() - done);
    if (n <= 0) {
      break;
    }
    done += static_cast<size_t>(n);
  }
}

void ChildProcess::CloseInput() {
  if (inputFd >= 0) {
    close(inputFd);
    inputFd = -1;
  }
}

void ChildProcess::Drain(int timeoutMs) {
  pollfd p = {outputFd, POLLIN, 0};
  if (poll(&p, 1, timeoutMs) <= 0) {
    return;
  }
  char chunk[4096];
  for (;;) {
    const ssize_t n = read(outputFd, chunk, sizeof(chunk));
    if (n <= 0) {
      return;
    }
    output.append(chunk, static_cast<size_t>(n));
  }
}

const std::string& ChildProcess::Output() {
  Drain(0);
  return output;
}

bool ChildProcess::WaitForOutput(const std::string& text, std::chrono::milliseconds timeout) {
  const int64_t deadline = NowMs() + timeout.count();
  while (output.find(text) == std::string::npos) {
    if (NowMs() >= deadline) {
      return false;
    }
    Drain(10);
  }
  return true;
}

RunResult Run(const std::vector<std::string>& argv, std::chrono::milliseconds timeout,
              const ChildProcess::Options& options) {
  ChildProcess child(argv, options);
  RunResult result;
  result.finished = child.Wait(timeout, result.status);
  result.output = child.Output();
  return result;
}

void BecomeSubreaper() { prctl(PR_SET_CHILD_SUBREAPER, 1); }

bool WaitForPid(pid_t pid, std::chrono::milliseconds timeout, int& status) {
  const int64_t deadline = NowMs() + timeout.count();
  for (;;) {
    const pid_t done = waitpid(pid, &status, WNOHANG);
    if (done == pid) {
      return true;
    }
    if (done < 0 || NowMs() >= deadline) {
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
}

}  // namespace testsupport

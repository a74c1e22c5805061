#include "common/ADaemon.h"

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <boost/bind/bind.hpp>
#include <cerrno>
#include <cstdio>
#include <stdexcept>

#include "common/Exceptions.h"

namespace common {

namespace {

// Wakes the signal thread when the daemon stops. All signals are blocked in
// every thread, so one sent to the signal thread alone waits for its
// sigwaitinfo and reaches nobody else; sent before the thread waits, it stays
// pending for it.
constexpr int kWakeSignal = SIGUSR2;

}  // namespace

ADaemon::ADaemon(int argc, char** argv) { Parameters::Parse(argc, argv, parameters); }

ADaemon::~ADaemon() = default;

bool ADaemon::IsConsole() const { return parameters.Has("console"); }

int ADaemon::Run() {
  const bool console = IsConsole();
  if (!console) {
    const pid_t pid = fork();
    if (pid < 0) {
      throw std::runtime_error("can't fork process");
    }
    if (pid > 0) {
      return 0;
    }
    Detach();
  }
  if (chdir("/") < 0) {
    throw std::runtime_error("can't change into directory \"/\"");
  }
  umask(0);

  std::string lockFile;
  if (parameters.Get("lockfile", lockFile)) {
    TakeLockFile(lockFile);
  }

  Prepare();

  sigset_t all;
  sigfillset(&all);
  pthread_sigmask(SIG_BLOCK, &all, nullptr);

  SignalThread signalThread(*this);
  const int result = Main();
  signalThread.Stop();
  signalThread.Join();

  Finish();
  return result;
}

void ADaemon::Detach() {
  if (setsid() < 0) {
    throw std::runtime_error("can't create unique session");
  }
  close(0);
  close(1);
  close(2);
  // Lands on descriptor 0, the lowest free one; 1 and 2 become copies.
  const int null = open("/dev/null", O_RDWR);
  if (null == 0) {
    dup2(0, 1);
    dup2(0, 2);
  }
}

void ADaemon::TakeLockFile(const std::string& path) {
  // Never through a link: the service runs as root, and a link planted here
  // would have it truncate and write whatever file the link names.
  const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0640);
  if (fd == -1) {
    throw IOException("can't open lock-file", errno);
  }
  // The descriptor is never closed: the lock lasts as long as the process.
  if (lockf(fd, F_TLOCK, 0) == -1) {
    throw IOException("can't lock lock-file", errno);
  }
  if (ftruncate(fd, 0) != 0) {
    throw IOException("can't truncate lock-file", errno);
  }
  char text[65];
  const int length = snprintf(text, sizeof(text), "%u\n", static_cast<unsigned>(getpid()));
  if (write(fd, text, length) == -1) {
    throw IOException("can't write pid in pid-file", errno);
  }
}

ADaemon::SignalThread::SignalThread(ADaemon& owner)
    : stop(false), daemon(&owner), thread(boost::bind(&SignalThread::Loop, this)) {}

ADaemon::SignalThread::~SignalThread() {
  Stop();
  Join();
}

void ADaemon::SignalThread::Stop() {
  stop = true;
  if (thread.joinable()) {
    pthread_kill(thread.native_handle(), kWakeSignal);
  }
}

void ADaemon::SignalThread::Join() {
  if (thread.joinable()) {
    thread.join();
  }
}

void ADaemon::SignalThread::Loop() {
  while (!stop) {
    // Without a time-out: Stop() wakes the wait with a signal of its own, so
    // an idle service doesn't wake four times a second to look at the flag.
    sigset_t all;
    sigfillset(&all);
    const int signalNumber = sigwaitinfo(&all, nullptr);
    if (signalNumber == -1) {
      continue;
    }
    if (stop) {
      break;
    }
    try {
      daemon->OnSignal(signalNumber);
    } catch (...) {
      // Nothing a derived class throws may end the signal thread.
    }
  }
}

}  // namespace common

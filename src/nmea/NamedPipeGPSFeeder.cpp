#include "nmea/NamedPipeGPSFeeder.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>

#include "common/Exceptions.h"
#include "nmea/ANMEASentence.h"

namespace nmea {

namespace {

// Where sentences begin is kept for at most this many before the ones already
// read are forgotten; normally every new fix forgets the older ones.
constexpr std::size_t kKeptStarts = 1024;

// A pipe, or a regular file as an earlier release accepted; nothing else.
void RequireUsable(const struct stat& status) {
  if (S_ISLNK(status.st_mode)) {
    throw IOException("can't open named pipe", ELOOP);
  }
  if (!S_ISFIFO(status.st_mode) && !S_ISREG(status.st_mode)) {
    throw std::runtime_error("can't open named pipe (not a FIFO or a regular file)");
  }
}

}  // namespace

NamedPipeGPSFeeder::NamedPipeGPSFeeder(const std::string& path) : path(path), descriptor(-1) {
  // The pipe must be readable by the navigation application whatever mask the
  // daemon was started with.
  umask(0);
  if (mkfifo(path.c_str(), 0644) == -1 && errno != EEXIST) {
    throw IOException("can't create named pipe", errno);
  }
  // What stands at the path is told now, at the start, rather than when the
  // feed is switched on.
  struct stat status {};
  if (lstat(path.c_str(), &status) != 0) {
    throw IOException("can't open named pipe", errno);
  }
  RequireUsable(status);
}

NamedPipeGPSFeeder::~NamedPipeGPSFeeder() {
  if (descriptor != -1) {
    close(descriptor);
  }
}

void NamedPipeGPSFeeder::Open() {
  if (descriptor != -1) {
    throw InvalidOperationException("feeder is just open");
  }
  const int opened = open(path.c_str(), O_RDWR | O_NONBLOCK | O_NOFOLLOW | O_NOCTTY | O_CLOEXEC);
  if (opened == -1) {
    throw IOException("can't open named pipe", errno);
  }
  struct stat status {};
  try {
    if (fstat(opened, &status) != 0) {
      throw IOException("can't open named pipe", errno);
    }
    RequireUsable(status);
  } catch (...) {
    close(opened);
    throw;
  }
  descriptor = opened;
  isPipe = S_ISFIFO(status.st_mode);
  written = 0;
  sentenceStarts.clear();
  latestFixStart = 0;
  if (isPipe) {
    // As small as the system allows (it rounds up to a page); where it can't
    // be shrunk, the discarding below keeps the fixes fresh all the same.
    fcntl(descriptor, F_SETPIPE_SZ, static_cast<int>(getpagesize()));
    // Left from before, when a reader kept the pipe open meanwhile: all old.
    DiscardBefore(Unread());
    written = 0;
  }
}

std::uint64_t NamedPipeGPSFeeder::Unread() const {
  int count = 0;
  if (ioctl(descriptor, FIONREAD, &count) != 0 || count < 0) {
    return 0;
  }
  return static_cast<std::uint64_t>(count);
}

void NamedPipeGPSFeeder::DiscardBefore(std::uint64_t offset) {
  const std::uint64_t unread = Unread();
  const std::uint64_t head = written > unread ? written - unread : 0;
  std::uint64_t left = offset > head ? std::min(offset - head, unread) : 0;
  char chunk[512];
  while (left != 0) {
    const ssize_t got =
        read(descriptor, chunk, static_cast<std::size_t>(std::min<std::uint64_t>(left, sizeof(chunk))));
    if (got <= 0) {
      if (got < 0 && errno == EINTR) {
        continue;
      }
      break;  // a reader took the rest meanwhile
    }
    left -= static_cast<std::uint64_t>(got);
  }
  while (!sentenceStarts.empty() && sentenceStarts.front() < offset) {
    sentenceStarts.pop_front();
  }
}

bool NamedPipeGPSFeeder::DiscardOldest() {
  const std::uint64_t unread = Unread();
  if (unread == 0) {
    return false;
  }
  const std::uint64_t head = written > unread ? written - unread : 0;
  // The first sentence that begins after the head: the one a reader may be
  // in the middle of goes as well.
  while (!sentenceStarts.empty() && sentenceStarts.front() <= head) {
    sentenceStarts.pop_front();
  }
  DiscardBefore(sentenceStarts.empty() ? written : sentenceStarts.front());
  return true;
}

void NamedPipeGPSFeeder::Write(const ANMEASentence& sentence) {
  const std::string line = ToString(sentence);
  if (isPipe && descriptor != -1 && sentence.GetType() == kTypeRMC) {
    // A new fix: only the latest complete one stays before it.
    DiscardBefore(latestFixStart);
    latestFixStart = written;
  }
  ssize_t result = write(descriptor, line.data(), line.size());
  while (result == -1 && errno == EAGAIN && isPipe && DiscardOldest()) {
    result = write(descriptor, line.data(), line.size());
  }
  if (result == -1) {
    throw IOException("can write gps data", errno);
  }
  if (isPipe) {
    sentenceStarts.push_back(written);
    written += static_cast<std::uint64_t>(result);
    if (sentenceStarts.size() > kKeptStarts) {
      // Sentences a reader took are no longer of interest.
      const std::uint64_t unread = Unread();
      DiscardBefore(written > unread ? written - unread : 0);
    }
  }
}

void NamedPipeGPSFeeder::Close() {
  if (descriptor == -1) {
    throw InvalidOperationException("feeder is just closed");
  }
  if (close(descriptor) == -1) {
    throw IOException("can't close named pipe", errno);
  }
  descriptor = -1;
  isPipe = false;
}

}  // namespace nmea

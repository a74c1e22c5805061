#include "nmea/NamedPipeGPSFeeder.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "common/Exceptions.h"
#include "nmea/ANMEASentence.h"

namespace nmea {

NamedPipeGPSFeeder::NamedPipeGPSFeeder(const std::string& path) : path(path), descriptor(-1) {
  // The pipe must be readable by the navigation application whatever mask the
  // daemon was started with.
  umask(0);
  if (mkfifo(path.c_str(), 0644) == -1 && errno != EEXIST) {
    throw IOException("can't create named pipe", errno);
  }
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
  const int opened = open(path.c_str(), O_RDWR | O_NONBLOCK);
  if (opened == -1) {
    throw IOException("can't open named pipe", errno);
  }
  descriptor = opened;
}

void NamedPipeGPSFeeder::Write(const ANMEASentence& sentence) {
  const std::string line = ToString(sentence);
  if (write(descriptor, line.data(), line.size()) == -1) {
    throw IOException("can write gps data", errno);
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
}

}  // namespace nmea

#include "velarn/ContextFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <sstream>

#include "common/Exceptions.h"
#include "velarn/TransportLayerContext.h"

namespace velarn {

namespace {

// Closes a descriptor on every way out.
class Descriptor {
 public:
  explicit Descriptor(int fd) : fd(fd) {}
  ~Descriptor() { Close(); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int Get() const { return fd; }
  int Close() {
    const int result = fd >= 0 ? ::close(fd) : 0;
    fd = -1;
    return result;
  }

 private:
  int fd;
};

std::string FolderOf(const std::string& path) {
  const std::string::size_type slash = path.rfind('/');
  if (slash == std::string::npos) {
    return ".";
  }
  return slash == 0 ? "/" : path.substr(0, slash);
}

void WriteAll(int fd, const std::string& bytes, const std::string& path) {
  const char* next = bytes.data();
  std::size_t left = bytes.size();
  while (left != 0) {
    const ssize_t written = ::write(fd, next, left);
    if (written < 0 && errno == EINTR) {
      continue;
    }
    if (written < 0) {
      throw IOException("could not write " + path, errno);
    }
    next += written;
    left -= static_cast<std::size_t>(written);
  }
}

}  // namespace

void WriteContextFile(const std::string& path, const ATransportLayerContext* context) {
  // The archive is built in memory first, so that a failure of the archive
  // can't leave a half-written temporary file to clean up.
  std::ostringstream archive;
  WriteContextArchive(archive, context);
  const std::string bytes = archive.str();

  const std::string temporary = path + ".tmp";
  Descriptor file(::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
  if (file.Get() < 0) {
    throw IOException("could not create " + path, errno);
  }
  try {
    // Readable and writable for everyone, without touching the process-wide
    // umask (other threads may be creating files).
    if (::fchmod(file.Get(), 0666) != 0) {
      throw IOException("could not create " + path, errno);
    }
    WriteAll(file.Get(), bytes, path);
    if (::fsync(file.Get()) != 0) {
      throw IOException("could not flush " + path, errno);
    }
    if (file.Close() != 0) {
      throw IOException("could not write " + path, errno);
    }
    if (::rename(temporary.c_str(), path.c_str()) != 0) {
      throw IOException("could not replace " + path, errno);
    }
  } catch (...) {
    file.Close();
    ::unlink(temporary.c_str());
    throw;
  }
  // The rename itself must reach the disk too.
  Descriptor folder(::open(FolderOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (folder.Get() < 0 || ::fsync(folder.Get()) != 0) {
    throw IOException("could not flush " + path, errno);
  }
}

ATransportLayerContext* ReadContextFile(const std::string& path) {
  std::ifstream in(path.c_str(), std::ios::in | std::ios::binary);
  if (!in.is_open()) {
    throw IOException("could not open " + path, errno);
  }
  return ReadContextArchive(in);
}

}  // namespace velarn

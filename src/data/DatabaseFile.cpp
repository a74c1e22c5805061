#include "data/DatabaseFile.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "common/Exceptions.h"
#include "data/Database.h"

namespace data {

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

// An output stream buffer of one page on a file descriptor. A failed write
// makes the archive's next write fail; the error number is kept.
class FileOutBuf : public std::streambuf {
 public:
  explicit FileOutBuf(int fd) : fd(fd), buffer(static_cast<std::size_t>(getpagesize())) {
    setp(buffer.data(), buffer.data() + buffer.size());
  }
  ~FileOutBuf() override { sync(); }
  int Error() const { return error; }

 protected:
  int_type overflow(int_type c) override {
    if (!Drain()) {
      return traits_type::eof();
    }
    if (!traits_type::eq_int_type(c, traits_type::eof())) {
      *pptr() = traits_type::to_char_type(c);
      pbump(1);
    }
    return traits_type::not_eof(c);
  }
  int sync() override { return Drain() ? 0 : -1; }

 private:
  bool Drain() {
    const char* next = pbase();
    while (error == 0 && next < pptr()) {
      const ssize_t written = ::write(fd, next, static_cast<std::size_t>(pptr() - next));
      if (written < 0) {
        if (errno != EINTR) {
          error = errno;
        }
      } else {
        next += written;
      }
    }
    setp(buffer.data(), buffer.data() + buffer.size());
    return error == 0;
  }

  int fd;
  std::vector<char> buffer;
  int error = 0;
};

std::string FolderOf(const std::string& path) {
  const std::string::size_type slash = path.rfind('/');
  if (slash == std::string::npos) {
    return ".";
  }
  return slash == 0 ? "/" : path.substr(0, slash);
}

void WriteAll(const Database& database, const std::string& path, int fd) {
  FileOutBuf out(fd);
  try {
    WriteDatabase(database, out);
  } catch (const std::exception&) {
    if (out.Error() != 0) {
      throw IOException("could not write " + path, out.Error());
    }
    throw;
  }
  if (out.pubsync() != 0) {
    throw IOException("could not write " + path, out.Error());
  }
}

// The bytes of the file at path.
std::string ReadFileBytes(const std::string& path) {
  // Non-blocking, so that a named pipe in the way can't hold the start up.
  Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (file.Get() < 0) {
    throw IOException("could not open " + path, errno);
  }
  struct stat status {};
  if (::fstat(file.Get(), &status) != 0) {
    throw IOException("could not read " + path, errno);
  }
  if (!S_ISREG(status.st_mode)) {
    throw ParseException(path + " is not a regular file");
  }
  if (static_cast<unsigned long long>(status.st_size) > kMaxDatabaseFileSize) {
    throw ParseException(path + " is too large for a database file");
  }
  std::string bytes;
  char chunk[16384];
  for (;;) {
    const ssize_t count = ::read(file.Get(), chunk, sizeof(chunk));
    if (count < 0 && errno == EINTR) {
      continue;
    }
    if (count < 0) {
      throw IOException("could not read " + path, errno);
    }
    if (count == 0) {
      break;
    }
    if (bytes.size() + static_cast<std::size_t>(count) > kMaxDatabaseFileSize) {
      throw ParseException(path + " is too large for a database file");
    }
    bytes.append(chunk, static_cast<std::size_t>(count));
  }
  return bytes;
}

}  // namespace

DatabaseReport InspectDatabaseFile(const std::string& path, Database& database) {
  const std::string bytes = ReadFileBytes(path);
  return ReadDatabase(bytes.data(), bytes.size(), database);
}

std::vector<std::string> ReadDatabaseFile(const std::string& path, Database& database) {
  const std::string bytes = ReadFileBytes(path);
  try {
    return DecodeDatabase(bytes, database);
  } catch (const ParseException& error) {
    throw ParseException(path + ": damaged database file: " + error.what());
  }
}

std::string KeepDamagedFile(const std::string& path) {
  // A link at path is the operator's way of putting the file elsewhere: the
  // file it points to is kept aside beside itself, and the link stays.
  std::string file = path;
  struct stat status {};
  if (::lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode)) {
    char* resolved = ::realpath(path.c_str(), nullptr);
    if (resolved == nullptr) {
      return std::string();
    }
    file = resolved;
    ::free(resolved);
  }
  // Nothing to keep in a missing or empty file, and folders, pipes and
  // devices aren't ours to move.
  if (::lstat(file.c_str(), &status) != 0 || !S_ISREG(status.st_mode) || status.st_size == 0) {
    return std::string();
  }
  const std::string aside = file + kDamagedSuffix;
  if (::rename(file.c_str(), aside.c_str()) != 0) {
    return std::string();
  }
  return aside;
}

void WriteDatabaseFile(const Database& database, const std::string& path, bool synchronise) {
  const std::string temporary = path + ".tmp";
  Descriptor file(::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
  if (file.Get() < 0) {
    throw IOException("could not create " + path, errno);
  }
  try {
    // The file is for everyone, whatever the process's umask.
    if (::fchmod(file.Get(), 0666) != 0) {
      throw IOException("could not create " + path, errno);
    }
    WriteAll(database, path, file.Get());
    if (synchronise && ::fsync(file.Get()) == -1) {
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
  if (synchronise) {
    // The rename itself must reach the disk too.
    const std::string folderPath = FolderOf(path);
    Descriptor folder(::open(folderPath.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder.Get() < 0 || ::fsync(folder.Get()) != 0) {
      throw IOException("could not flush " + folderPath, errno);
    }
  }
}

}  // namespace data

#include "data/DatabaseFile.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "common/Exceptions.h"
#include "common/FileDescriptor.h"
#include "common/ReplaceFile.h"
#include "data/Database.h"

namespace data {

namespace {

using Descriptor = common::FileDescriptor;

}  // namespace

void ReadDatabaseFile(const std::string& path, Database& database) {
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
  try {
    DecodeDatabase(bytes, database);
  } catch (const std::exception& error) {
    throw ParseException(path + ": damaged database file: " + error.what());
  }
}

void WriteDatabaseFile(const Database& database, const std::string& path, bool synchronise) {
  common::ReplaceFile(
      path, [&database](std::streambuf& out) { WriteDatabase(database, out); }, synchronise);
}

}  // namespace data

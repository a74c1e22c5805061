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
  // file it points to is kept aside beside itself, and the link stays. Only
  // a link of the operator's, as for saving (common/ReplaceFile.h): one that
  // somebody else planted is no file of ours, and what it names is never
  // moved; the save then replaces the link.
  std::string file;
  try {
    file = common::FollowOwnLinks(path);
  } catch (const std::exception&) {
    return std::string();
  }
  struct stat status {};
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
  common::ReplaceFile(
      path, [&database](std::streambuf& out) { WriteDatabase(database, out); }, synchronise);
}

}  // namespace data

#include "common/ReplaceFile.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "common/Exceptions.h"
#include "common/FileDescriptor.h"

namespace common {

namespace {

// Links followed from the path given before giving up, as the system does.
constexpr int kMaxLinks = 40;
// Names tried for the temporary before giving up: another name is only
// needed when something already stands at the first one.
constexpr int kNameAttempts = 16;

using Descriptor = common::FileDescriptor;

// An output stream buffer of one page on a file descriptor. A failed write
// makes the writer's next write fail; the error number is kept.
class FileOutBuf : public std::streambuf {
 public:
  explicit FileOutBuf(int fd) : fd(fd), buffer(static_cast<std::size_t>(getpagesize())) {
    setp(buffer.data(), buffer.data() + buffer.size());
  }
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

std::string NameOf(const std::string& path) {
  const std::string::size_type slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

}  // namespace

// The link is opened itself (O_PATH|O_NOFOLLOW), so that its owner and its
// content are read from the same link even if another one is swapped in
// meanwhile.
std::string FollowOwnLinks(const std::string& path) {
  std::string current = path;
  for (int hop = 0; hop < kMaxLinks; ++hop) {
    Descriptor link(::open(current.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    struct stat status {};
    if (link.Get() < 0 || ::fstat(link.Get(), &status) != 0 || !S_ISLNK(status.st_mode)) {
      return current;  // the file itself, or nothing yet
    }
    if (status.st_uid != 0 && status.st_uid != ::geteuid()) {
      return current;  // someone else's link: replaced, never followed
    }
    std::vector<char> target(static_cast<std::size_t>(status.st_size) + 2);
    const ssize_t length = ::readlinkat(link.Get(), "", target.data(), target.size());
    if (length <= 0 || static_cast<std::size_t>(length) >= target.size()) {
      return current;  // changed under our feet: the link itself is replaced
    }
    const std::string next(target.data(), static_cast<std::size_t>(length));
    current = next[0] == '/' ? next : FolderOf(current) + "/" + next;
  }
  throw IOException("could not create " + path, ELOOP);
}

namespace {

// A name for the temporary that nobody can foresee.
std::string TemporaryName(const std::string& name) {
  unsigned long long random = 0;
  if (::getrandom(&random, sizeof(random), GRND_NONBLOCK) != static_cast<ssize_t>(sizeof(random))) {
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    static std::atomic<unsigned long long> counter{0};
    random = (static_cast<unsigned long long>(now.tv_nsec) << 20) ^
             static_cast<unsigned long long>(now.tv_sec) ^ (++counter * 0x9E3779B97F4A7C15ull);
  }
  char suffix[48];
  std::snprintf(suffix, sizeof(suffix), ".tmp.%ld.%016llx", static_cast<long>(::getpid()), random);
  return name + suffix;
}

// Whether entry is a temporary of name that may go: one of a process that no
// longer runs (or of this one: its saves of a file never overlap), or a plain
// "<name>.tmp" of an older release.
bool IsLeftover(const std::string& entry, const std::string& name) {
  const std::string prefix = name + ".tmp";
  if (entry.compare(0, prefix.size(), prefix) != 0) {
    return false;
  }
  if (entry.size() == prefix.size()) {
    return true;
  }
  if (entry[prefix.size()] != '.') {
    return false;
  }
  char* end = nullptr;
  const long pid = std::strtol(entry.c_str() + prefix.size() + 1, &end, 10);
  if (end == nullptr || *end != '.' || pid <= 0 || pid == static_cast<long>(::getpid())) {
    return true;
  }
  return ::kill(static_cast<pid_t>(pid), 0) != 0 && errno == ESRCH;
}

void RemoveLeftovers(int folder, const std::string& name) {
  const int listing = ::openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (listing < 0) {
    return;
  }
  DIR* entries = ::fdopendir(listing);
  if (entries == nullptr) {
    ::close(listing);
    return;
  }
  std::vector<std::string> leftovers;
  while (const dirent* entry = ::readdir(entries)) {
    if (IsLeftover(entry->d_name, name)) {
      leftovers.emplace_back(entry->d_name);
    }
  }
  ::closedir(entries);
  for (const std::string& leftover : leftovers) {
    ::unlinkat(folder, leftover.c_str(), 0);  // a link goes, its target stays
  }
}

void WriteContent(int fd, const FileContent& content, const std::string& path) {
  FileOutBuf out(fd);
  try {
    content(out);
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

// The way out when the folder can't take a new name but the file may be
// written: truncated and written where it is, as a plain creat() would.
void WriteInPlace(int folder, const std::string& name, const std::string& path, const FileContent& content,
                  bool synchronise) {
  Descriptor file(::openat(folder, name.c_str(), O_WRONLY | O_NOFOLLOW | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
  if (file.Get() < 0) {
    throw IOException("could not create " + path, errno);
  }
  struct stat status {};
  if (::fstat(file.Get(), &status) != 0) {
    throw IOException("could not create " + path, errno);
  }
  // Another name of the same file may stand anywhere: writing into it would
  // change that one too.
  if (!S_ISREG(status.st_mode) || status.st_nlink != 1) {
    throw IOException("could not create " + path, S_ISREG(status.st_mode) ? EMLINK : EINVAL);
  }
  if (::ftruncate(file.Get(), 0) != 0) {
    throw IOException("could not write " + path, errno);
  }
  WriteContent(file.Get(), content, path);
  if (synchronise && ::fsync(file.Get()) != 0) {
    throw IOException("could not flush " + path, errno);
  }
  if (file.Close() != 0) {
    throw IOException("could not write " + path, errno);
  }
}

// The folder refuses a new name or a rename, but may let the file be written.
bool FolderRefuses(int error) {
  return error == EACCES || error == EPERM || error == EROFS || error == EBUSY;
}

// Gives the new file the mode and owner of the one it replaces, or 0666.
void TakeOverAttributes(int fd, const struct stat* existing, const std::string& path) {
  mode_t mode = 0666;
  if (existing != nullptr) {
    mode = existing->st_mode & 0777;
    struct stat made {};
    if (::fstat(fd, &made) == 0 && (made.st_uid != existing->st_uid || made.st_gid != existing->st_gid) &&
        ::fchown(fd, existing->st_uid, existing->st_gid) != 0) {
      // Not allowed to give the file away: at least keep the group if ours.
      ::fchown(fd, static_cast<uid_t>(-1), existing->st_gid);
    }
  }
  // After fchown, which may clear mode bits.
  if (::fchmod(fd, mode) != 0) {
    throw IOException("could not create " + path, errno);
  }
}

}  // namespace

void ReplaceFile(const std::string& path, const FileContent& content, bool synchronise) {
  const std::string target = FollowOwnLinks(path);
  const std::string folderPath = FolderOf(target);
  const std::string name = NameOf(target);
  Descriptor folder(::open(folderPath.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (folder.Get() < 0) {
    throw IOException("could not create " + path, errno);
  }
  RemoveLeftovers(folder.Get(), name);

  struct stat existing {};
  const bool exists =
      ::fstatat(folder.Get(), name.c_str(), &existing, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(existing.st_mode);

  std::string temporary;
  int fd = -1;
  for (int attempt = 0; fd < 0 && attempt < kNameAttempts; ++attempt) {
    temporary = TemporaryName(name);
    fd =
        ::openat(folder.Get(), temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0 && errno != EEXIST) {
      break;
    }
  }
  if (fd < 0) {
    const int error = errno;
    if (exists && FolderRefuses(error)) {
      WriteInPlace(folder.Get(), name, path, content, synchronise);
      return;
    }
    throw IOException("could not create " + path, error);
  }
  Descriptor file(fd);
  try {
    TakeOverAttributes(file.Get(), exists ? &existing : nullptr, path);
    WriteContent(file.Get(), content, path);
    if (synchronise && ::fsync(file.Get()) != 0) {
      throw IOException("could not flush " + path, errno);
    }
    if (file.Close() != 0) {
      throw IOException("could not write " + path, errno);
    }
    if (::renameat(folder.Get(), temporary.c_str(), folder.Get(), name.c_str()) != 0) {
      const int error = errno;
      ::unlinkat(folder.Get(), temporary.c_str(), 0);
      if (exists && FolderRefuses(error)) {
        WriteInPlace(folder.Get(), name, path, content, synchronise);
        return;
      }
      throw IOException("could not replace " + path, error);
    }
  } catch (...) {
    file.Close();
    ::unlinkat(folder.Get(), temporary.c_str(), 0);
    throw;
  }
  // The rename itself must reach the disk too.
  if (synchronise && ::fsync(folder.Get()) != 0) {
    throw IOException("could not flush " + folderPath, errno);
  }
}

}  // namespace common

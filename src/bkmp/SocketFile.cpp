// Socket files of listening servers.
//
// The mode: the daemon runs with umask 0, and bind() creates the file with the
// socket's own mode less the umask. The socket's mode is set to 0660 with
// fchmod() before bind(), so the file never exists with more than 0660, not
// even for an instant, and no process-wide umask is touched (which would race
// with other threads creating files). If the umask took bits away, chmod()
// afterwards gives them back: that only widens 0660 minus the umask to 0660.
//
// Stale and live files: bind() never replaces an existing name, so a live
// server's file can't be taken over by binding. A name that is there already
// is probed with connect(): accepted, or refused for a full queue, means a
// server listens; ECONNREFUSED means nobody does, and that socket file
// (checked again to be the same file) is removed before binding. A symbolic
// link there is stale whatever it points to (no server makes one): it is
// removed itself, never followed, neither by the probe nor by the removal,
// nor by the later chmod. Anything else (a file, a folder) is never removed. Two servers started at the same
// instant on the same stale file could still race between that check and the
// removal; one process per address (the daemon holds a lock file) rules this
// out.
#include "bkmp/SocketFile.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "bkmp/Socket.h"
#include "bkmp/bkmp.h"

namespace bkmp {
namespace {

bool SameFile(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

// True when a server listens at address (or it can't be told).
bool ServerListens(const sockaddr_un& address, socklen_t length) {
  DescriptorGuard probe(OpenStreamSocket());
  if (probe.Get() < 0) {
    return true;
  }
  if (connect(probe.Get(), reinterpret_cast<const sockaddr*>(&address), length) == 0) {
    return true;
  }
  // EAGAIN: the server's queue is full, it is alive. EACCES and others: we
  // can't tell, so the file is left alone.
  return errno != ECONNREFUSED;
}

// Makes room at path: BKMP_OK when the name is free (again), else BKMP_E_ADDRESS.
int ClearStaleFile(const std::string& path, const sockaddr_un& address, socklen_t length) {
  struct stat before {};
  if (lstat(path.c_str(), &before) != 0) {
    return errno == ENOENT ? BKMP_OK : BKMP_E_ADDRESS;
  }
  const bool link = S_ISLNK(before.st_mode);
  if (!link && (!S_ISSOCK(before.st_mode) || ServerListens(address, length))) {
    return BKMP_E_ADDRESS;
  }
  struct stat after {};
  if (lstat(path.c_str(), &after) != 0) {
    return errno == ENOENT ? BKMP_OK : BKMP_E_ADDRESS;
  }
  if ((after.st_mode & S_IFMT) != (before.st_mode & S_IFMT) || !SameFile(before, after)) {
    return BKMP_E_ADDRESS;  // someone else is at work here; try again later
  }
  return unlink(path.c_str()) == 0 || errno == ENOENT ? BKMP_OK : BKMP_E_ADDRESS;
}

}  // namespace

int ListenAt(const std::string& path, int backlog, int& fd, SocketFileId& id) {
  sockaddr_un address{};
  socklen_t length = 0;
  if (!MakeAddress(path.c_str(), address, length)) {
    return BKMP_E_ADDRESS;
  }
  if (ClearStaleFile(path, address, length) != BKMP_OK) {
    return BKMP_E_ADDRESS;
  }
  DescriptorGuard socket(OpenStreamSocket());
  if (socket.Get() < 0 || fchmod(socket.Get(), kSocketFileMode) != 0 ||
      bind(socket.Get(), reinterpret_cast<const sockaddr*>(&address), length) != 0) {
    return BKMP_E_ADDRESS;
  }
  struct stat created {};
  if (lstat(path.c_str(), &created) != 0) {
    return BKMP_E_ADDRESS;
  }
  id.device = created.st_dev;
  id.inode = created.st_ino;
  if (!S_ISSOCK(created.st_mode) ||
      ((created.st_mode & 07777) != kSocketFileMode &&
       fchmodat(AT_FDCWD, path.c_str(), kSocketFileMode, AT_SYMLINK_NOFOLLOW) != 0) ||
      listen(socket.Get(), backlog) != 0) {
    RemoveSocketFile(path, id);
    return BKMP_E_ADDRESS;
  }
  fd = socket.Release();
  return BKMP_OK;
}

void RemoveSocketFile(const std::string& path, const SocketFileId& id) {
  struct stat now {};
  if (lstat(path.c_str(), &now) == 0 && S_ISSOCK(now.st_mode) && now.st_dev == id.device &&
      now.st_ino == id.inode) {
    unlink(path.c_str());
  }
}

}  // namespace bkmp

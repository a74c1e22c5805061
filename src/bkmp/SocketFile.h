#pragma once

// The socket file of a listening server: how it comes into being with the
// right mode, how a stale one is told from a live one, and how it goes.

#include <sys/types.h>

#include <string>

namespace bkmp {

// Which file a server made, so that it removes that one and no other.
struct SocketFileId {
  dev_t device = 0;
  ino_t inode = 0;
};

// The mode of every socket file the library makes: the owner and the group
// may connect, nobody else.
constexpr mode_t kSocketFileMode = 0660;

// Makes a listening socket at path (mode kSocketFileMode whatever the umask),
// replacing a socket file that no process listens on any more, or a symbolic
// link (removed itself, never followed). BKMP_OK with
// fd and id filled, or BKMP_E_ADDRESS.
int ListenAt(const std::string& path, int backlog, int& fd, SocketFileId& id);

// Removes path if it is still the socket file identified by id.
void RemoveSocketFile(const std::string& path, const SocketFileId& id);

}  // namespace bkmp

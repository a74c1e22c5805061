#pragma once

// How the service replaces a whole file (the database, the context) so that a
// crash never leaves it torn and nobody with write access to its folder can
// make the service, which runs as root, write anywhere else.
//
// The write goes aside: a temporary file in the folder of the file it
// replaces, flushed to the disk, renamed over the file, then the folder is
// flushed too. A crash at any moment leaves the old or the new complete file.
//
// - The temporary has a name of its own ("<name>.tmp.<pid>.<random>") and is
//   made with O_CREAT|O_EXCL|O_NOFOLLOW: whatever stands at that name, a link
//   above all, makes the creation fail and another name is tried; nothing is
//   ever opened through a link there. Its mode and owner are set on the
//   descriptor of the file just made, never on a path.
// - A temporary that a killed process left behind is never opened: every save
//   removes those of its file (unlink, which removes a link itself), except
//   the ones of a process that still runs.
// - An existing file keeps its mode (permission bits) and its owner and group
//   where the process may give them (root may; another user keeps what it
//   may and the file becomes its own otherwise). A new file gets mode 0666,
//   whatever the umask.
// - A path that is a symbolic link is written at the link's target and the
//   link stays, but only a link made by root or by this process's own user,
//   that is by the operator: a link that anyone else put there is replaced
//   by the file like any other entry, and its target is never touched.
//   Links are followed one at a time (at most 40), each with the same test.
// - Where the folder can't take the temporary (no write permission, a
//   read-only folder with the file bind-mounted writable, the file itself a
//   mount point) but the file can be written, the file is rewritten in place
//   instead of losing the data. That way is not crash-safe. It is never taken
//   for a link (O_NOFOLLOW) or for a file with more than one name.
//
// The folders on the way to the file are the operator's: a path is as safe as
// the folders it passes through.

#include <functional>
#include <streambuf>
#include <string>

namespace common {

// Writes the new content into out; may throw to abandon the save.
using FileContent = std::function<void(std::streambuf& out)>;

// Replaces the file at path by what content writes, as told above. Without
// synchronise nothing is flushed to the disk (for measurements only).
// Failures throw IOException, always naming path as it was given: "could not
// create <path>", "could not write <path>", "could not flush <path>" (or
// "could not flush <folder>" for the folder), "could not replace <path>";
// other exceptions of content pass through. A failed save leaves the old file
// and no temporary behind (apart from a failed in-place write, which may have
// torn it).
void ReplaceFile(const std::string& path, const FileContent& content, bool synchronise = true);

// Where path leads when only the operator's links are followed (made by root
// or by this process's user, at most 40): the path of the file to write, or
// of the link that stands in the way and is to be replaced, never followed.
// Whatever else moves or writes one of the service's files should go by the
// same rule. Throws IOException("could not create <path>") with ELOOP for a
// chain of more than 40 links.
std::string FollowOwnLinks(const std::string& path);

}  // namespace common

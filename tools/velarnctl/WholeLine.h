#pragma once

#include <iosfwd>
#include <string>

namespace velarnctl {

// Writes text (one or more whole lines) so that no other output can come
// between its pieces. Scripts and tests read standard output and standard
// error through one pipe, and the simulators print from several threads: a
// line written in pieces (std::cerr flushes after every <<) could be cut by
// another thread's line. For std::cout and std::cerr the text goes out in a
// single write() after whatever the streams still hold; any other stream
// gets it in one insertion and is flushed.
void WriteWhole(std::ostream& out, const std::string& text);

}  // namespace velarnctl

#pragma once

#include <cstdint>
#include <deque>
#include <string>

#include "nmea/IGPSFeeder.h"

namespace nmea {

// Writes the sentences into a named pipe, from which the navigation
// application reads its GPS data. The pipe is made by the constructor and
// stays in the file system; a pipe left by an earlier run, or a regular file,
// at the path is used as it is. Anything else there is refused, a symbolic
// link above all: the service runs as root and would write into whatever the
// link names.
//
// The pipe is opened for reading and writing without blocking: Open doesn't
// wait for a reader, and writing without one raises no SIGPIPE. A sentence
// goes out in one write, whole (it is far below PIPE_BUF).
//
// Fresh fixes: while nobody reads, sentences would pile up, and a reader
// that comes later would first get fixes minutes old. The pipe's buffer is
// made as small as the system allows (one page), and the feeder, which holds
// the pipe open for reading too, reads out what is old:
// - when an RMC sentence begins a new fix, every sentence before the latest
//   complete fix is discarded: a reader that attaches late finds at most the
//   last two fixes, so the first fix it reads is less than two fix intervals
//   old (2 s at one fix a second);
// - when a write finds the pipe full all the same, the oldest sentences are
//   discarded one by one until the new one fits.
// The feeder knows where each sentence it wrote begins, so only whole
// sentences are discarded. A reader that lags more than a whole fix behind
// may see one sentence cut where the two of them read at the same moment;
// the sentence's checksum tells it. A regular file is written as it is.
class NamedPipeGPSFeeder : public IGPSFeeder {
 public:
  // Sets the process's file mode mask to 0 (for good) and creates the pipe
  // with mode 0644. Throws IOException("can't create named pipe"), and for
  // something at the path that is neither a pipe nor a regular file
  // IOException("can't open named pipe") with ELOOP for a symbolic link or
  // std::runtime_error("can't open named pipe (not a FIFO or a regular file)").
  explicit NamedPipeGPSFeeder(const std::string& path);
  // Closes an open pipe; the pipe itself stays.
  ~NamedPipeGPSFeeder() override;
  NamedPipeGPSFeeder(const NamedPipeGPSFeeder&) = delete;
  NamedPipeGPSFeeder& operator=(const NamedPipeGPSFeeder&) = delete;

  // Opens without following a link and checks again what it opened. Throws
  // as the constructor does (IOException "can't open named pipe", or the
  // text for a wrong kind of file). Discards what an earlier opening left.
  void Open() override;
  // Throws IOException("can write gps data") when the write fails, also while
  // closed (EBADF). A full pipe makes room as told above.
  void Write(const ANMEASentence& sentence) override;
  // Throws IOException("can't close named pipe") and stays open if close fails.
  void Close() override;
  bool IsOpen() const override { return descriptor != -1; }

  const std::string& GetPath() const { return path; }

 private:
  // Bytes this feeder put into the pipe that nobody has read yet.
  std::uint64_t Unread() const;
  // Reads out and drops everything before offset (counted in written).
  void DiscardBefore(std::uint64_t offset);
  // Drops the oldest whole sentence; false when nothing is left to drop.
  bool DiscardOldest();

  std::string path;
  int descriptor;
  bool isPipe = false;
  // Bytes written since Open; the offsets at which the sentences that may
  // still be unread begin; where the latest fix began.
  std::uint64_t written = 0;
  std::deque<std::uint64_t> sentenceStarts;
  std::uint64_t latestFixStart = 0;
};

}  // namespace nmea

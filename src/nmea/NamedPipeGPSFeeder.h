#pragma once

#include <string>

#include "nmea/IGPSFeeder.h"

namespace nmea {

// Writes the sentences into a named pipe, from which the navigation
// application reads its GPS data. The pipe is made by the constructor and
// stays in the file system; whatever already lies at the path (a pipe left by
// an earlier run, or even a regular file) is used as it is.
//
// The pipe is opened for reading and writing without blocking: Open doesn't
// wait for a reader, and writing without one raises no SIGPIPE. A sentence
// goes out in one write; when nobody empties the pipe, that write fails and
// the sentence is lost, which is right for a live position.
class NamedPipeGPSFeeder : public IGPSFeeder {
 public:
  // Sets the process's file mode mask to 0 (for good) and creates the pipe
  // with mode 0644. Throws IOException("can't create named pipe").
  explicit NamedPipeGPSFeeder(const std::string& path);
  // Closes an open pipe; the pipe itself stays.
  ~NamedPipeGPSFeeder() override;
  NamedPipeGPSFeeder(const NamedPipeGPSFeeder&) = delete;
  NamedPipeGPSFeeder& operator=(const NamedPipeGPSFeeder&) = delete;

  // Throws IOException("can't open named pipe").
  void Open() override;
  // Throws IOException("can write gps data") when the write fails, also while
  // closed (EBADF) or when the pipe is full (EAGAIN). A partial write isn't
  // continued.
  void Write(const ANMEASentence& sentence) override;
  // Throws IOException("can't close named pipe") and stays open if close fails.
  void Close() override;
  bool IsOpen() const override { return descriptor != -1; }

  const std::string& GetPath() const { return path; }

 private:
  std::string path;
  int descriptor;
};

}  // namespace nmea

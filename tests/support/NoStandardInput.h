#pragma once

#include <unistd.h>

namespace testsupport {

// Closes descriptor 0 for the life of the object, as for a service started
// without standard input, so that the next descriptor opened is 0; restores
// it at the end.
class NoStandardInput {
 public:
  NoStandardInput() : saved(::dup(0)) { ::close(0); }
  ~NoStandardInput() {
    ::dup2(saved, 0);
    ::close(saved);
  }
  NoStandardInput(const NoStandardInput&) = delete;
  NoStandardInput& operator=(const NoStandardInput&) = delete;

 private:
  int saved;
};

}  // namespace testsupport

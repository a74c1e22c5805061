#include <cstdio>
#include <cstdlib>
#include <exception>

#include "velarnd/VelarnDaemon.h"

int main(int argc, char** argv) {
  try {
    velarnd::VelarnDaemon daemon(argc, argv);
    // exit() rather than return: the daemon object is not destroyed on the
    // ordinary path.
    exit(daemon.Run());
  } catch (const std::exception& error) {
    printf("failure: %s\r\n", error.what());
    // abort() doesn't flush standard output, and the line must not be lost
    // when the output is a pipe or a file.
    fflush(stdout);
    abort();
  }
}

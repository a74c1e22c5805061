// A counting shim for C++ exceptions, loaded into a process with LD_PRELOAD:
// every throw passes through __cxa_throw, which this library defines in
// front of the C++ runtime's, counts and forwards.
//
// VELARND_THROW_COUNTER names a file of at least 8 bytes that the counter
// lives in (shared, so that a measuring process reads it while this one
// runs). With VELARND_THROW_TRACE set, each throw also prints the thrown
// type's (mangled) name on standard error, to find where throws come from.
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <typeinfo>

namespace {

using Throw = void (*)(void*, std::type_info*, void (*)(void*));

std::atomic<unsigned long>* Counter() {
  static std::atomic<unsigned long>* const counter = [] {
    static std::atomic<unsigned long> local{0};
    const char* path = std::getenv("VELARND_THROW_COUNTER");
    const int fd = path != nullptr ? open(path, O_RDWR | O_CLOEXEC) : -1;
    if (fd < 0) {
      return &local;
    }
    void* shared = mmap(nullptr, sizeof(unsigned long), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    close(fd);
    return shared != MAP_FAILED ? static_cast<std::atomic<unsigned long>*>(shared) : &local;
  }();
  return counter;
}

}  // namespace

extern "C" __attribute__((visibility("default"), noreturn)) void __cxa_throw(void* object,
                                                                             std::type_info* type,
                                                                             void (*destroy)(void*)) {
  static const Throw real = reinterpret_cast<Throw>(dlsym(RTLD_NEXT, "__cxa_throw"));
  Counter()->fetch_add(1);
  if (std::getenv("VELARND_THROW_TRACE") != nullptr) {
    std::fprintf(stderr, "throw %s\n", type != nullptr ? type->name() : "?");
  }
  real(object, type, destroy);
  std::abort();
}

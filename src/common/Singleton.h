#pragma once

#include <boost/noncopyable.hpp>

namespace common {

// A lock policy that does nothing: callers serialise themselves.
struct NullMutex {
  void lock() {}
  void unlock() {}
};

// Gives T (which derives from Singleton<T, Mutex>) its one instance, created
// with new on the first call and never deleted. The state objects of the
// state machines use it with NullMutex: they run under their owner's lock and
// hold no per-connection data.
template <class T, class Mutex>
class Singleton : private boost::noncopyable {
 public:
  static T& Instance() {
    static Mutex mutex;
    static T* instance = nullptr;
    mutex.lock();
    if (instance == nullptr) {
      instance = new T();
    }
    mutex.unlock();
    return *instance;
  }

 protected:
  Singleton() = default;
  ~Singleton() = default;
};

}  // namespace common

#pragma once

namespace common {

// Abstract creator: Create() hands a new object to the caller, who owns it.
template <class T>
class Factory {
 public:
  virtual ~Factory() = default;
  virtual T* Create() = 0;
};

}  // namespace common

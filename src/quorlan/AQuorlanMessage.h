#pragma once

#include <cstdint>

namespace quorlan {

// Base of every typed message exchanged with the dispatch server.
class AQuorlanMessage {
 public:
  virtual ~AQuorlanMessage() = default;
  virtual uint16_t GetId() const = 0;
};

}  // namespace quorlan

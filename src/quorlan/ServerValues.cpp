#include "quorlan/ServerValues.h"

namespace quorlan {

uint8_t OrderTypeFromServer(uint8_t serverType) {
  switch (serverType) {
    case 1:
      return 3;
    case 2:
      return 2;
    default:
      return 1;
  }
}

uint8_t OrderTypeToServer(uint8_t storedType) {
  switch (storedType) {
    case 2:
      return 2;
    case 3:
      return 1;
    default:
      return 0;
  }
}

uint8_t WorkingTimeStateToServer(uint8_t storedState) {
  return storedState >= 1 && storedState <= 3 ? storedState : 0;
}

}  // namespace quorlan

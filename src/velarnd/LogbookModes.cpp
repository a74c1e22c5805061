#include "velarnd/LogbookModes.h"

namespace velarnd {

unsigned LogbookModeToNavigation(unsigned mode) {
  switch (mode) {
    case 2:
      return 8;
    case 3:
      return 2;
    case 4:
      return 4;
    default:
      return 16;
  }
}

unsigned LogbookModeFromNavigation(unsigned navigationMode) {
  switch (navigationMode) {
    case 8:
      return 2;
    case 2:
      return 3;
    case 4:
      return 4;
    default:
      return 0;
  }
}

unsigned LogbookModeToServer(unsigned mode) {
  switch (mode) {
    case 2:
      return 1;
    case 3:
      return 2;
    case 4:
      return 3;
    default:
      return 0;
  }
}

}  // namespace velarnd

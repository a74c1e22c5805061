#include "common/Exceptions.h"

#include <string.h>

#include <sstream>

IOException::IOException(const std::string& message, int errorNumber)
    : std::runtime_error(message), errorNumber(errorNumber) {}

const char* IOException::what() const noexcept {
  if (!formatted) {
    try {
      char buffer[1024];
      // The GNU form returns a pointer that may or may not point into buffer.
      const char* errorText = strerror_r(errorNumber, buffer, sizeof(buffer));
      std::ostringstream out;
      out << std::runtime_error::what() << " (errno " << errorNumber << ": " << errorText << ")";
      text = out.str();
      formatted = true;
    } catch (...) {
      // Out of memory while formatting: the bare message still says what failed.
      return std::runtime_error::what();
    }
  }
  return text.c_str();
}

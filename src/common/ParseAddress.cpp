#include "common/ParseAddress.h"

#include <arpa/inet.h>

#include <cstdlib>

namespace common {

bool ParseAddress(const std::string& text, sockaddr_in& address) {
  const std::string::size_type colon = text.find(':');
  if (colon == std::string::npos) {
    return false;
  }
  const std::string ip = text.substr(0, colon);
  const std::string port = text.substr(colon + 1);

  address.sin_family = AF_INET;
  address.sin_addr.s_addr = inet_addr(ip.c_str());
  if (address.sin_addr.s_addr == INADDR_NONE) {
    return false;
  }
  if (port.empty()) {
    return false;
  }
  char* end = nullptr;
  const long number = std::strtol(port.c_str(), &end, 10);
  if (*end != '\0') {
    return false;
  }
  address.sin_port = htons(static_cast<uint16_t>(number & 0xFFFF));
  return true;
}

}  // namespace common

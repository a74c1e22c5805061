#pragma once

#include <netinet/in.h>

#include <string>

namespace common {

// Turns "ip:port" into a socket address. True when understood; then family,
// port and address are set and the rest of the structure is left as it was.
// Only dotted quads that inet_addr accepts, no host names; 255.255.255.255 is
// refused (it is inet_addr's error value). The port is the low 16 bits of a
// decimal number with no range check, so 65536 gives port 0. Never throws: the
// caller words the error.
bool ParseAddress(const std::string& text, sockaddr_in& address);

}  // namespace common

// Texts of the return codes.
#include "bkmp/bkmp.h"

extern "C" const char* BKMPErrorString(int code) {
  switch (code) {
    case BKMP_OK:
      return "success";
    case BKMP_E_INVALID:
      return "invalid handle or argument";
    case BKMP_E_NOMEM:
      return "out of memory or over a limit";
    case BKMP_E_NOTFOUND:
      return "no such field";
    case BKMP_E_TYPE:
      return "field of another type";
    case BKMP_E_ADDRESS:
      return "address not available";
    case BKMP_E_CONNECT:
      return "no server at the address";
    case BKMP_E_CLOSED:
      return "connection closed";
    case BKMP_E_PROTOCOL:
      return "malformed frame from the peer";
    case BKMP_E_INCOMPLETE:
      return "incomplete frame";
    case BKMP_E_TIMEOUT:
      return "timed out";
    default:
      return "unknown error";
  }
}

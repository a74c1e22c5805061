#include "velarnd/Version.h"

namespace velarnd {

const char* const RELEASE = "vld0.0404";
const char* const MESSAGE_SET_VERSION = "1.0.5";

}  // namespace velarnd

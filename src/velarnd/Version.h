#pragma once

namespace velarnd {

// The daemon's release: the unit reads it as parameter "REL", the server gets
// it in NewVelarnConnectedOutMsg and ErrorOutMsg.
extern const char* const RELEASE;

// The version of the message set spoken with the navigation application.
extern const char* const MESSAGE_SET_VERSION;

}  // namespace velarnd

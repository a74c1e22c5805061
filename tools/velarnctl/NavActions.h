#pragma once

// The actions that velarnctl nav sends for the navigation application, typed
// as lines: "accept 1001", "reject 1001 too far", "text hello". Every action
// of the link that the application can send has a line of its own, plus
// "raw" for messages of any shape (to try how the daemon treats broken
// ones). Lines are parsed here into messages; sending is the session's.

#include <cstdint>
#include <memory>
#include <string>

#include "bkcom/BrenikCommunicationMessage.h"
#include "bkcom/VelarnMessage.h"

namespace velarnctl {

// What the application tells about itself in its handshake.
struct NavSettings {
  std::string version = "1.0.5";
  uint32_t keepAliveInterval = 0;  // seconds, 0: none
  std::string ncVersion = "velarnctl";
  std::string ncBuild = "1";
  std::string snr = "0";
};

// One message to send: a class of the link, or a raw library message.
struct NavOutgoing {
  std::unique_ptr<CVelarnMessage> message;
  std::unique_ptr<CBrenikCommunicationMessage> raw;
  std::string rawFields;  // as typed, shown where no class describes raw
};

class NavActionParser {
 public:
  explicit NavActionParser(const NavSettings& settings) : settings(settings) {}

  // Whether word names an action of this parser.
  static bool IsAction(const std::string& word);
  // The list of actions with their syntax, for --help and "help".
  static std::string Help();

  // The message of one line. Actions get the next ActionId, counting from 1
  // (only a line that parses uses one up). Throws std::invalid_argument with
  // a short text on a line that doesn't parse.
  NavOutgoing Parse(const std::string& line);

  // The handshake answer, as the line "init" makes it.
  std::unique_ptr<CVelarnMessage> MakeInit();

 private:
  NavSettings settings;
  uint32_t nextActionId = 1;
};

}  // namespace velarnctl

#pragma once

#include <string>
#include <vector>

namespace velarnctl {

// One subcommand of velarnctl ("db", "msg", ...). run receives the arguments
// behind the subcommand's name and returns the exit status.
struct Command {
  std::string name;
  std::string summary;
  int (*run)(const std::vector<std::string>& args);
};

// Subcommands register themselves during static initialisation:
//   static velarnctl::RegisterCommand registered({"db", "database files", &RunDb});
class RegisterCommand {
 public:
  explicit RegisterCommand(const Command& command);
};

const std::vector<Command>& Commands();

// True when args hold -h or --help.
bool WantsHelp(const std::vector<std::string>& args);

}  // namespace velarnctl

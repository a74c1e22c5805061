#include "velarnctl/Command.h"

#include <algorithm>

namespace velarnctl {

namespace {

std::vector<Command>& Registry() {
  static std::vector<Command> commands;
  return commands;
}

}  // namespace

RegisterCommand::RegisterCommand(const Command& command) {
  std::vector<Command>& commands = Registry();
  const auto position = std::lower_bound(commands.begin(), commands.end(), command,
                                         [](const Command& a, const Command& b) { return a.name < b.name; });
  commands.insert(position, command);
}

const std::vector<Command>& Commands() { return Registry(); }

bool WantsHelp(const std::vector<std::string>& args) {
  return std::find(args.begin(), args.end(), "--help") != args.end() ||
         std::find(args.begin(), args.end(), "-h") != args.end();
}

}  // namespace velarnctl

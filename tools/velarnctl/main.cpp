// velarnctl: the operator's and developer's companion of velarnd. Each
// subcommand lives in a file of its own and registers itself.
#include <iostream>
#include <string>
#include <vector>

#include "velarnctl/Command.h"
#include "velarnctl/WholeLine.h"

namespace {

void PrintUsage(std::ostream& out) {
  out << "usage: velarnctl COMMAND [ARGS...]\n"
         "       velarnctl COMMAND --help\n\n"
         "commands:\n";
  for (const velarnctl::Command& command : velarnctl::Commands()) {
    out << "  " << command.name << std::string(command.name.size() < 8 ? 8 - command.name.size() : 1, ' ')
        << command.summary << "\n";
  }
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> args(argv + 1, argv + argc);
  if (args.empty()) {
    PrintUsage(std::cerr);
    return 2;
  }
  if (args[0] == "--help" || args[0] == "-h" || args[0] == "help") {
    PrintUsage(std::cout);
    return 0;
  }
  for (const velarnctl::Command& command : velarnctl::Commands()) {
    if (command.name == args[0]) {
      try {
        return command.run(std::vector<std::string>(args.begin() + 1, args.end()));
      } catch (const std::exception& error) {
        velarnctl::WriteWhole(std::cerr, "velarnctl " + command.name + ": " + error.what() + "\n");
        return 1;
      }
    }
  }
  std::cerr << "velarnctl: unknown command \"" << args[0] << "\"\n\n";
  PrintUsage(std::cerr);
  return 2;
}

#include "common/Parameters.h"

#include "common/Exceptions.h"

namespace common {

void Parameters::Parse(int argc, char** argv, Parameters& result) {
  result.values.clear();
  Map::iterator waiting = result.values.end();
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    if (argument.empty()) {
      throw ParseException("invalid options");
    }
    if (argument[0] == '-') {
      if (argument.size() < 2) {
        throw ParseException("invalid options (invalid parameter name)");
      }
      const std::string name = argument.substr(1);
      if (result.values.count(name) != 0) {
        throw ParseException("invalid options (duplicate parameter: \"" + name + "\")");
      }
      waiting = result.values.emplace(name, std::string()).first;
    } else {
      if (waiting == result.values.end()) {
        throw ParseException("invalid options (no parameter name specified for value: \"" + argument + "\")");
      }
      waiting->second = argument;
      waiting = result.values.end();
    }
  }
}

bool Parameters::Has(const std::string& name) const { return values.count(name) != 0; }

bool Parameters::Get(const std::string& name, std::string& value) const {
  const Map::const_iterator found = values.find(name);
  if (found == values.end()) {
    return false;
  }
  value = found->second;
  return true;
}

}  // namespace common

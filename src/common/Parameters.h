#pragma once

#include <map>
#include <string>

namespace common {

// The command line as a map of named parameters: "-name value" or "-name"
// alone (a flag, whose value is the empty string), each name at most once.
class Parameters {
 public:
  using Map = std::map<std::string, std::string>;

  // Empties result, then parses argv[1..argc-1]; throws ParseException with
  // the exact text of the first bad argument. argv[0] is not looked at.
  static void Parse(int argc, char** argv, Parameters& result);

  bool Has(const std::string& name) const;
  // False (value untouched) when the name is absent.
  bool Get(const std::string& name, std::string& value) const;

  const Map& Values() const { return values; }

 private:
  Map values;
};

}  // namespace common

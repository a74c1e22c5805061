// velarnctl db: look into and create the daemon's database file.
#include <sys/stat.h>

#include <iostream>
#include <string>
#include <vector>

#include "data/Database.h"
#include "data/DatabaseFile.h"
#include "velarnctl/Command.h"
#include "velarnctl/DbDump.h"

namespace velarnctl {

namespace {

const char kUsage[] =
    "usage: velarnctl db dump FILE [--raw|--json]\n"
    "       velarnctl db init FILE [--force]\n\n"
    "commands:\n"
    "  dump    print a database file: orders, text messages, statuses, working\n"
    "          time, configuration, unit and navigation records; --raw for the\n"
    "          stored numbers alone, --json for machines (times as stored:\n"
    "          seconds or milliseconds since 1970)\n"
    "  init    write a new, empty database to FILE (mode 0666); an existing\n"
    "          file is kept unless --force is given\n\n"
    "The file format is described in docs/database-format.md.\n";

const char kDumpUsage[] =
    "usage: velarnctl db dump FILE [--raw|--json]\n\n"
    "Prints every record of the database file FILE. Fails (status 1) if the\n"
    "file is missing, unreadable or damaged, telling why.\n\n"
    "options:\n"
    "  --raw     the stored numbers alone, without dates and names\n"
    "  --json    one JSON object, members named as in the code\n";

const char kInitUsage[] =
    "usage: velarnctl db init FILE [--force]\n\n"
    "Writes a new database to FILE, as the daemon does when it finds none:\n"
    "no orders, no messages, all settings at their defaults.\n\n"
    "options:\n"
    "  --force   replace FILE if it exists\n";

int UsageError(const std::string& message, const char* usage) {
  std::cerr << "velarnctl db: " << message << "\n\n" << usage;
  return 2;
}

// Splits args into one FILE and the flags in allowed; false after printing
// a usage error.
bool ParseArguments(const std::vector<std::string>& args, const std::vector<std::string>& allowed,
                    std::string& file, std::vector<std::string>& flags, const char* usage, int& status) {
  for (const std::string& arg : args) {
    if (arg.size() > 1 && arg[0] == '-') {
      bool known = false;
      for (const std::string& flag : allowed) {
        known = known || arg == flag;
      }
      if (!known) {
        status = UsageError("unknown option " + arg, usage);
        return false;
      }
      flags.push_back(arg);
    } else if (file.empty()) {
      file = arg;
    } else {
      status = UsageError("more than one FILE", usage);
      return false;
    }
  }
  if (file.empty()) {
    status = UsageError("FILE missing", usage);
    return false;
  }
  return true;
}

bool Has(const std::vector<std::string>& flags, const std::string& flag) {
  for (const std::string& present : flags) {
    if (present == flag) {
      return true;
    }
  }
  return false;
}

int RunDump(const std::vector<std::string>& args) {
  std::string file;
  std::vector<std::string> flags;
  int status = 0;
  if (!ParseArguments(args, {"--json", "--raw"}, file, flags, kDumpUsage, status)) {
    return status;
  }
  data::Database database(file);
  data::ReadDatabaseFile(file, database);
  if (Has(flags, "--json")) {
    // Texts come from outside: bytes that aren't UTF-8 are replaced, not fatal.
    std::cout << DatabaseToJson(database).dump(2, ' ', false, nlohmann::json::error_handler_t::replace)
              << '\n';
  } else {
    std::cout << "database " << file << '\n';
    PrintDatabase(std::cout, database, Has(flags, "--raw") ? OutputForm::Raw : OutputForm::Readable);
  }
  return 0;
}

int RunInit(const std::vector<std::string>& args) {
  std::string file;
  std::vector<std::string> flags;
  int status = 0;
  if (!ParseArguments(args, {"--force"}, file, flags, kInitUsage, status)) {
    return status;
  }
  struct stat existing {};
  if (!Has(flags, "--force") && lstat(file.c_str(), &existing) == 0) {
    std::cerr << "velarnctl db: " << file << " exists; --force replaces it\n";
    return 1;
  }
  data::WriteDatabaseFile(data::Database(file), file);
  std::cout << "wrote a new database to " << file << '\n';
  return 0;
}

int RunDb(const std::vector<std::string>& args) {
  if (args.empty()) {
    std::cerr << kUsage;
    return 2;
  }
  const std::vector<std::string> rest(args.begin() + 1, args.end());
  if (args[0] == "dump") {
    if (WantsHelp(rest)) {
      std::cout << kDumpUsage;
      return 0;
    }
    return RunDump(rest);
  }
  if (args[0] == "init") {
    if (WantsHelp(rest)) {
      std::cout << kInitUsage;
      return 0;
    }
    return RunInit(rest);
  }
  if (WantsHelp(args)) {
    std::cout << kUsage;
    return 0;
  }
  return UsageError("unknown command \"" + args[0] + "\"", kUsage);
}

const RegisterCommand registered({"db", "database files: dump and init", &RunDb});

}  // namespace

}  // namespace velarnctl

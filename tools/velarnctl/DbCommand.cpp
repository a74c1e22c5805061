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
    "Prints every record of the database file FILE, and what was repaired in\n"
    "reading it. Fails (status 1) if the file is missing or unreadable; of a\n"
    "damaged file (such as FILE.damaged, which the daemon keeps aside) it\n"
    "prints every record read before the damage, then where (byte offset)\n"
    "and why reading stopped, and fails.\n\n"
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
  const data::DatabaseReport report = data::InspectDatabaseFile(file, database);
  // A damaged file shows what was read whole before the damage.
  const unsigned sections = report.wholeMembers + (report.partialList ? 1 : 0);
  if (Has(flags, "--json")) {
    nlohmann::json json = DatabaseToJson(database);
    static const char* const kMembers[data::kDatabaseMembers] = {"orders",        "textMessages", "statuses",
                                                                 "orderStatuses", "workingTime",  "sortKeys",
                                                                 "config",        "velarn",       "zu"};
    for (unsigned member = sections; member < data::kDatabaseMembers; ++member) {
      json.erase(kMembers[member]);
    }
    if (!report.repairs.empty()) {
      json["repairs"] = report.repairs;
    }
    if (report.damaged) {
      json["damage"] = {{"offset", report.damageOffset}, {"reason", report.damage}};
    }
    // Texts come from outside: bytes that aren't UTF-8 are replaced, not fatal.
    std::cout << json.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << '\n';
  } else {
    std::cout << "database " << file << '\n';
    PrintDatabase(std::cout, database, sections,
                  Has(flags, "--raw") ? OutputForm::Raw : OutputForm::Readable);
    for (const std::string& repair : report.repairs) {
      std::cout << "repaired: " << repair << '\n';
    }
  }
  if (report.damaged) {
    std::cout.flush();
    std::cerr << "velarnctl db: " << file << ": damaged database file: " << report.DescribeDamage() << '\n';
    return 1;
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

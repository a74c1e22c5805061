#pragma once

#include <atomic>
#include <string>
#include <vector>

namespace velarnctl {

class UnitOutput;
class UnitSimulator;

// The command language of the unit simulator: one command per line, blank
// lines and lines beginning with '#' ignored. Words are separated by blanks;
// double or single quotes hold blanks together (`table 1="On the way"`),
// and inside double quotes \" stands for a quote. The commands that take a
// server message or a value read the rest of the line as it is, so that JSON
// needs no quoting. kHelp lists the commands.
class UnitScript {
 public:
  static const char kHelp[];

  enum class Outcome {
    kContinue,
    kQuit,        // quit, or a stop request during wait or sleep
    kWaitFailed,  // a wait timed out
    kBadCommand,  // the line isn't a valid command, or its input can't be read
  };

  // Relative @FILE names are taken from baseDir (empty: the current folder).
  // stop ends a wait or sleep early.
  UnitScript(UnitSimulator& unit, UnitOutput& output, const std::atomic<bool>& stop,
             const std::string& baseDir);

  // Runs one line; for kWaitFailed and kBadCommand, error tells why.
  Outcome Run(const std::string& line, std::string& error);

  // Splits text into words as described above. Throws std::invalid_argument
  // for a quote that isn't closed.
  static std::vector<std::string> Words(const std::string& text);

 private:
  Outcome Wait(const std::string& rest, std::string& error);
  Outcome Sleep(const std::string& rest);
  void Logbook(const std::vector<std::string>& words);
  void Table(const std::vector<std::string>& words);
  void Network(const std::vector<std::string>& words);
  void Gps(const std::vector<std::string>& words);
  std::string FilePath(const std::string& name) const;

  UnitSimulator& unit;
  UnitOutput& output;
  const std::atomic<bool>& stop;
  std::string baseDir;
};

}  // namespace velarnctl

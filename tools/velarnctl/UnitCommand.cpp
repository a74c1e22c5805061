// velarnctl unit: plays the telematics unit, and through it the dispatch
// server, against a running velarnd, driven by commands on standard input or
// from a script file. See docs/unit-simulator.md.
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include "common/ParseAddress.h"
#include "velarnctl/Command.h"
#include "velarnctl/UnitOutput.h"
#include "velarnctl/UnitScript.h"
#include "velarnctl/UnitSimulator.h"

namespace velarnctl {

namespace {

const char kUsage[] =
    "usage: velarnctl unit --local IP:PORT --peer IP:PORT [OPTIONS]\n"
    "\n"
    "Plays the telematics unit, and through it the dispatch server, against velarnd:\n"
    "opens the link, answers what the daemon asks, prints every PDU and server message\n"
    "it receives, and carries out commands from standard input or a script file.\n"
    "\n"
    "options:\n"
    "  --local IP:PORT   the unit's own address, the daemon's velarnaddr (port 0: any)\n"
    "  --peer IP:PORT    the daemon's address, its zuaddr\n"
    "  --script FILE     take the commands from FILE instead of standard input\n"
    "  --stay            after the last command keep running until quit, SIGINT or\n"
    "                    SIGTERM\n"
    "  --context FILE    keep the unit's session in FILE: read at the start, written\n"
    "                    at the end and at every restart\n"
    "  --no-connect      don't open the link at the start (see connect)\n"
    "  --loss PERCENT    lose this share of datagrams in each direction (0 to 100)\n"
    "  --delay MS        hold every datagram back this long\n"
    "  --seed N          seed of the loss decisions (default 1)\n"
    "  --frames          also print every datagram, as \"frame\" lines\n"
    "  --raw             numbers without their meanings, and the node tree of every\n"
    "                    server message received: the stable form of older scripts\n"
    "  --json            one JSON object per line: {\"dir\":\"in\",\"pdu\":\"4:7\",...}\n"
    "                    for PDUs, {\"note\":\"...\"} for everything else\n"
    "  --brief           with --raw, leave out the node trees\n"
    "  --pcap FILE       write every datagram sent and received to FILE, a pcap\n"
    "                    capture for Wireshark or tshark (see tools/wireshark)\n"
    "  --timestamps      begin every line with the seconds since the start\n"
    "  -h, --help        show this text\n"
    "\n"
    "Exit status: 0 at the end of the input, after quit or after SIGINT/SIGTERM;\n"
    "1 when a wait timed out or the unit couldn't start; 2 for a wrong command line\n"
    "or a command that isn't valid (from a terminal such a command is only reported).\n"
    "\n";

std::atomic<bool> stopRequested(false);

void OnStopSignal(int) { stopRequested = true; }

void InstallSignals() {
  struct sigaction action {};
  action.sa_handler = &OnStopSignal;
  sigemptyset(&action.sa_mask);
  action.sa_flags = 0;  // no restart: a blocked read comes back at once
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
  // A reader that goes away mustn't kill the unit before it saved its context.
  signal(SIGPIPE, SIG_IGN);
}

int UsageError(const std::string& text) {
  std::cerr << "velarnctl unit: " << text << "\n\n" << kUsage << "The commands: velarnctl unit --help\n";
  return 2;
}

// Lines from a descriptor, read in rounds of at most 100 ms so that a stop
// request is noticed while the input stays silent.
class LineReader {
 public:
  explicit LineReader(int fd) : fd(fd) {}

  // False at the end of the input or on a stop request.
  bool Next(std::string& line) {
    for (;;) {
      const std::string::size_type end = pending.find('\n');
      if (end != std::string::npos) {
        line = pending.substr(0, end);
        pending.erase(0, end + 1);
        return true;
      }
      if (stopRequested) {
        return false;
      }
      if (ended) {
        if (pending.empty()) {
          return false;
        }
        line.swap(pending);
        pending.clear();
        return true;
      }
      pollfd wanted = {fd, POLLIN, 0};
      if (poll(&wanted, 1, 100) <= 0) {
        continue;
      }
      char chunk[4096];
      const ssize_t count = read(fd, chunk, sizeof(chunk));
      if (count > 0) {
        pending.append(chunk, static_cast<size_t>(count));
      } else if (count == 0 || (errno != EINTR && errno != EAGAIN)) {
        ended = true;
      }
    }
  }

 private:
  int fd;
  std::string pending;
  bool ended = false;
};

struct Arguments {
  UnitSettings settings;
  std::string script;
  bool stay = false;
  bool timestamps = false;
};

// False after printing a usage error (status in status).
bool ParseArguments(const std::vector<std::string>& args, Arguments& parsed, int& status) {
  bool haveLocal = false;
  bool havePeer = false;
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& arg = args[i];
    auto value = [&](std::string& target) {
      if (i + 1 == args.size()) {
        status = UsageError(arg + " needs a value");
        return false;
      }
      target = args[++i];
      return true;
    };
    auto number = [&](unsigned max, unsigned& target) {
      std::string text;
      if (!value(text)) {
        return false;
      }
      char* end = nullptr;
      const unsigned long result = std::strtoul(text.c_str(), &end, 10);
      if (text.empty() || text[0] == '-' || *end != '\0' || result > max) {
        status =
            UsageError(arg + " needs a number from 0 to " + std::to_string(max) + ", not \"" + text + "\"");
        return false;
      }
      target = static_cast<unsigned>(result);
      return true;
    };
    auto address = [&](sockaddr_in& target) {
      std::string text;
      if (!value(text)) {
        return false;
      }
      if (!common::ParseAddress(text, target)) {
        status = UsageError(arg + " needs IP:PORT, not \"" + text + "\"");
        return false;
      }
      return true;
    };
    bool ok = true;
    if (arg == "--local") {
      ok = haveLocal = address(parsed.settings.local);
    } else if (arg == "--peer") {
      ok = havePeer = address(parsed.settings.peer);
    } else if (arg == "--script") {
      ok = value(parsed.script);
    } else if (arg == "--context") {
      ok = value(parsed.settings.contextFile);
    } else if (arg == "--loss") {
      ok = number(100, parsed.settings.loss);
    } else if (arg == "--delay") {
      ok = number(60000, parsed.settings.delay);
    } else if (arg == "--seed") {
      ok = number(0xFFFFFFFFu, parsed.settings.seed);
    } else if (arg == "--stay") {
      parsed.stay = true;
    } else if (arg == "--no-connect") {
      parsed.settings.connect = false;
    } else if (arg == "--frames") {
      parsed.settings.traceFrames = true;
    } else if (ParseOutputForm(arg, parsed.settings.form)) {
      // --raw, --json
    } else if (arg == "--pcap") {
      ok = value(parsed.settings.pcapFile);
    } else if (arg == "--brief") {
      parsed.settings.dumpTrees = false;
    } else if (arg == "--timestamps") {
      parsed.timestamps = true;
    } else {
      status = UsageError("unknown argument \"" + arg + "\"");
      return false;
    }
    if (!ok) {
      return false;
    }
  }
  if (!haveLocal || !havePeer) {
    status = UsageError("--local and --peer are required");
    return false;
  }
  return true;
}

// Runs the commands of one input; returns the exit status, or -1 if the
// input ended without a reason to stop.
int RunCommands(UnitScript& script, const std::string& name, bool interactive,
                const std::function<bool(std::string&)>& next) {
  std::string line;
  for (unsigned number = 1; !stopRequested && next(line); ++number) {
    std::string error;
    switch (script.Run(line, error)) {
      case UnitScript::Outcome::kContinue:
        break;
      case UnitScript::Outcome::kQuit:
        return 0;
      case UnitScript::Outcome::kWaitFailed:
        std::cerr << "velarnctl unit: " << name << ":" << number << ": " << error << std::endl;
        return 1;
      case UnitScript::Outcome::kBadCommand:
        std::cerr << "velarnctl unit: " << name << ":" << number << ": " << error << std::endl;
        if (!interactive) {
          return 2;
        }
        break;
    }
  }
  return stopRequested ? 0 : -1;
}

int RunUnit(const std::vector<std::string>& args) {
  if (WantsHelp(args)) {
    std::cout << kUsage << UnitScript::kHelp;
    return 0;
  }
  Arguments parsed;
  int status = 0;
  if (!ParseArguments(args, parsed, status)) {
    return status;
  }
  std::ifstream scriptFile;
  std::string baseDir;
  if (!parsed.script.empty()) {
    scriptFile.open(parsed.script);
    if (!scriptFile) {
      std::cerr << "velarnctl unit: can't read \"" << parsed.script << "\"\n";
      return 1;
    }
    const std::string::size_type slash = parsed.script.rfind('/');
    baseDir = slash == std::string::npos ? "" : parsed.script.substr(0, slash);
  }

  InstallSignals();
  UnitOutput output(std::cout, parsed.timestamps, parsed.settings.form == OutputForm::Json);
  UnitSimulator unit(parsed.settings, output);
  try {
    unit.Start();
  } catch (const std::exception& error) {
    std::cerr << "velarnctl unit: can't start: " << error.what() << std::endl;
    return 1;
  }
  UnitScript script(unit, output, stopRequested, baseDir);
  if (parsed.script.empty()) {
    LineReader reader(STDIN_FILENO);
    status = RunCommands(script, "stdin", isatty(STDIN_FILENO) != 0,
                         [&reader](std::string& line) { return reader.Next(line); });
  } else {
    status = RunCommands(script, parsed.script, false,
                         [&scriptFile](std::string& line) { return !!std::getline(scriptFile, line); });
  }
  if (status < 0) {
    status = 0;
    while (parsed.stay && !stopRequested) {
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
  }
  unit.Stop();
  return status;
}

const RegisterCommand registered({"unit", "simulate the telematics unit and the dispatch server", &RunUnit});

}  // namespace

}  // namespace velarnctl

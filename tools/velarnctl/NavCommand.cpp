// velarnctl nav: plays the navigation application against a running velarnd,
// by hand or from a script (end-to-end tests, demos).
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <iostream>
#include <regex>
#include <stdexcept>
#include <string>
#include <vector>

#include "bkmp/bkmp.h"
#include "velarnctl/Command.h"
#include "velarnctl/NavActions.h"
#include "velarnctl/NavInput.h"
#include "velarnctl/NavSession.h"

namespace velarnctl {

namespace {

const char kNavUsage[] =
    "usage: velarnctl nav SOCKET [OPTIONS]\n"
    "\n"
    "Plays the navigation application against a running velarnd: connects to the\n"
    "daemon's socket (its -svraddr), answers the daemon's handshake, prints every\n"
    "message it receives and sends the actions read from standard input, one per\n"
    "line, typed by hand or fed by a script.\n"
    "\n"
    "options:\n"
    "  -w, --connect-timeout SECONDS\n"
    "                              give up connecting after this long (default: try\n"
    "                              every 200 ms until the daemon listens)\n"
    "  -k, --keepalive SECONDS     KAInterval of the handshake (default 0: none)\n"
    "  --version TEXT              Version of the handshake (default 1.0.5)\n"
    "  --nc-version TEXT           NCVersion of the handshake (default velarnctl)\n"
    "  --nc-build TEXT             NCBuild of the handshake (default 1)\n"
    "  --snr TEXT                  SNR of the handshake (default 0)\n"
    "  --manual-init               don't answer the handshake by itself (type init)\n"
    "  -s, --stay                  keep running at the end of standard input, until\n"
    "                              the daemon goes away\n"
    "  --raw                       numbers only, without their meanings: the stable\n"
    "                              form of older scripts and transcripts\n"
    "  --json                      one JSON object per line (see below)\n"
    "  -h, --help                  show this text\n"
    "\n"
    "output, one line per message, written at once:\n"
    "  <- CLASS Field=value ...    a message from the daemon\n"
    "  -> CLASS Field=value ...    a message sent\n"
    "  # ...                       notes on the connection\n"
    "Texts are quoted with C escapes; record fields show their prefixes, as in\n"
    "Order_.Dest_.Lat. Numbers are followed by what they mean, in parentheses:\n"
    "Error=1 (carried out), Order_.State=4 (accepted), times as UTC dates,\n"
    "coordinates in degrees (the link counts hundred-thousandths). With --json:\n"
    "  {\"dir\":\"in\",\"class\":\"CAcknowledge\",\"fields\":{\"ActionId\":2,\"Error\":1}}\n"
    "  {\"note\":\"connected to /run/velarnd/nav.sock\"}\n"
    "fields under their names on the wire (Order_Dest_Lat), numbers as numbers.\n"
    "Every action gets the next ActionId, counting from 1; the input is read only\n"
    "once the handshake has been answered (at most 10 s), so the answer always has\n"
    "ActionId 1 unless --manual-init is given.\n"
    "\n"
    "actions:\n"
    "%ACTIONS%"
    "\n"
    "script lines:\n"
    "  wait REGEX [SECONDS]        wait (default 10 s) for a received line, without\n"
    "                              its \"<- \" (the object with --json), that REGEX\n"
    "                              matches; lines that came earlier count unless an\n"
    "                              earlier wait matched them\n"
    "  sleep SECONDS               pause (fractions allowed)\n"
    "  echo TEXT                   print \"# TEXT\"\n"
    "  help                        list the actions\n"
    "  quit                        end now\n"
    "Empty lines and lines beginning with # are ignored.\n"
    "\n"
    "exit status: 0 at the end of the input or quit; 1 no connection, or the\n"
    "daemon went away; 2 a bad argument or input line; 3 a wait ran out of time.\n";

constexpr int kStatusGone = 1;
constexpr int kStatusUsage = 2;
constexpr int kStatusWaitTimedOut = 3;

std::string Usage() {
  std::string usage = kNavUsage;
  const std::string marker = "%ACTIONS%";
  usage.replace(usage.find(marker), marker.size(), NavActionParser::Help());
  return usage;
}

int UsageError(const std::string& text) {
  std::cerr << "velarnctl nav: " << text << "\n\n" << Usage();
  return kStatusUsage;
}

std::chrono::milliseconds Seconds(const std::string& text, const char* what) {
  char* end = nullptr;
  const double seconds = std::strtod(text.c_str(), &end);
  if (text.empty() || *end != '\0' || !(seconds >= 0 && seconds <= 86400 * 365)) {
    throw std::invalid_argument(std::string(what) + " must be a number of seconds, not \"" + text + "\"");
  }
  return std::chrono::milliseconds(static_cast<long long>(seconds * 1000));
}

std::string Trimmed(const std::string& text) {
  const size_t first = text.find_first_not_of(" \t");
  if (first == std::string::npos) {
    return "";
  }
  return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

struct Options {
  std::string socket;
  NavSettings settings;
  std::chrono::milliseconds connectTimeout{0};
  bool manualInit = false;
  bool stay = false;
  OutputForm form = OutputForm::Readable;
};

// Throws std::invalid_argument on a bad argument.
Options ParseOptions(const std::vector<std::string>& args) {
  Options options;
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& arg = args[i];
    const auto value = [&]() -> const std::string& {
      if (i + 1 >= args.size()) {
        throw std::invalid_argument(arg + " needs a value");
      }
      return args[++i];
    };
    if (arg == "-w" || arg == "--connect-timeout") {
      options.connectTimeout = Seconds(value(), arg.c_str());
    } else if (arg == "-k" || arg == "--keepalive") {
      const std::string& text = value();
      char* end = nullptr;
      const unsigned long seconds = std::strtoul(text.c_str(), &end, 10);
      if (text.empty() || *end != '\0' || text[0] == '-' || seconds > 4294967295UL) {
        throw std::invalid_argument(arg + " must be a whole number of seconds, not \"" + text + "\"");
      }
      options.settings.keepAliveInterval = static_cast<uint32_t>(seconds);
    } else if (arg == "--version") {
      options.settings.version = value();
    } else if (arg == "--nc-version") {
      options.settings.ncVersion = value();
    } else if (arg == "--nc-build") {
      options.settings.ncBuild = value();
    } else if (arg == "--snr") {
      options.settings.snr = value();
    } else if (arg == "--manual-init") {
      options.manualInit = true;
    } else if (arg == "-s" || arg == "--stay") {
      options.stay = true;
    } else if (ParseOutputForm(arg, options.form)) {
      // --raw, --json
    } else if (arg.size() > 1 && arg[0] == '-') {
      throw std::invalid_argument("unknown option \"" + arg + "\"");
    } else if (options.socket.empty()) {
      options.socket = arg;
    } else {
      throw std::invalid_argument("one SOCKET only, not also \"" + arg + "\"");
    }
  }
  if (options.socket.empty()) {
    throw std::invalid_argument("missing SOCKET");
  }
  return options;
}

// Reads and carries out the input; returns the exit status.
int Converse(NavSession& session, NavActionParser& parser, bool stay) {
  NavInput input(STDIN_FILENO);
  bool badLine = false;
  int lineNumber = 0;
  std::string line;
  const auto complain = [&](const std::string& text) {
    std::cout.flush();
    // One write, so that the line stays whole beside the receiving thread's.
    std::cerr << ("velarnctl nav: line " + std::to_string(lineNumber) + ": " + text + "\n") << std::flush;
    badLine = true;
  };
  for (;;) {
    if (session.Gone()) {
      return kStatusGone;
    }
    const NavInput::Result result = input.Next(line, 100);
    if (result == NavInput::Result::Idle) {
      continue;
    }
    if (result == NavInput::Result::End) {
      break;
    }
    ++lineNumber;
    const size_t first = line.find_first_not_of(" \t");
    if (first == std::string::npos || line[first] == '#') {
      continue;
    }
    const std::string text = line.substr(first);
    const std::string word = text.substr(0, text.find_first_of(" \t"));
    const std::string rest = Trimmed(text.substr(word.size()));
    try {
      if (word == "quit" || word == "exit") {
        return badLine ? kStatusUsage : 0;
      } else if (word == "help") {
        std::cout << NavActionParser::Help() << std::flush;
      } else if (word == "echo") {
        session.Note(rest);
      } else if (word == "sleep") {
        session.Sleep(Seconds(rest, "sleep"));
      } else if (word == "wait") {
        // The last word is the time-out if it is a number.
        std::string pattern = rest;
        std::chrono::milliseconds timeout(10000);
        const size_t blank = rest.find_last_of(" \t");
        if (blank != std::string::npos) {
          try {
            timeout = Seconds(rest.substr(blank + 1), "wait");
            pattern = Trimmed(rest.substr(0, blank));
          } catch (const std::invalid_argument&) {
            // part of the pattern
          }
        }
        if (pattern.empty()) {
          throw std::invalid_argument("missing REGEX; usage: wait REGEX [SECONDS]");
        }
        std::regex regex;
        try {
          regex = std::regex(pattern);
        } catch (const std::regex_error& error) {
          throw std::invalid_argument("bad REGEX \"" + pattern + "\": " + error.what());
        }
        const NavSession::WaitResult waited = session.Wait(regex, timeout);
        if (waited == NavSession::WaitResult::Gone) {
          return kStatusGone;
        }
        if (waited == NavSession::WaitResult::TimedOut) {
          session.Note("wait timed out: " + pattern);
          std::cerr << ("velarnctl nav: line " + std::to_string(lineNumber) + ": nothing matched \"" +
                        pattern + "\" in time\n")
                    << std::flush;
          return kStatusWaitTimedOut;
        }
      } else {
        NavOutgoing outgoing = parser.Parse(text);
        if (!session.Send(outgoing)) {
          return kStatusGone;
        }
      }
    } catch (const std::invalid_argument& error) {
      complain(error.what());
    }
  }
  if (stay) {
    session.WaitUntilGone();
    return kStatusGone;
  }
  return badLine ? kStatusUsage : 0;
}

int RunNav(const std::vector<std::string>& args) {
  if (WantsHelp(args)) {
    std::cout << Usage();
    return 0;
  }
  Options options;
  try {
    options = ParseOptions(args);
  } catch (const std::invalid_argument& error) {
    return UsageError(error.what());
  }
  // A daemon that goes away mid-send must give an error code, not kill us.
  signal(SIGPIPE, SIG_IGN);

  NavActionParser parser(options.settings);
  NavSession session(parser, !options.manualInit, std::cout, options.form);
  if (!session.Connect(options.socket, options.connectTimeout)) {
    const int code = session.GetConnectError();
    std::cerr << "velarnctl nav: can't connect to " << options.socket << ": " << BKMPErrorString(code)
              << " (code " << code << ")" << std::endl;
    return kStatusGone;
  }
  session.Start();
  if (!options.manualInit && !session.WaitForHandshake(std::chrono::seconds(10)) && !session.Gone()) {
    session.Note("no handshake from the daemon within 10 s; going on without");
  }
  const int status = Converse(session, parser, options.stay);
  session.Close();
  return status;
}

const RegisterCommand registered({"nav", "play the navigation application against velarnd", &RunNav});

}  // namespace

}  // namespace velarnctl

#include "velarnctl/UnitScript.h"

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <regex>
#include <stdexcept>
#include <thread>

#include "quorlan/Message.h"
#include "velarnctl/MsgHex.h"
#include "velarnctl/MsgJson.h"
#include "velarnctl/UnitOutput.h"
#include "velarnctl/UnitSimulator.h"

namespace velarnctl {

const char UnitScript::kHelp[] =
    "commands (one per line; '#' begins a comment line):\n"
    "  send [--invalid] MESSAGE     a server message to the daemon, in PDU 4:8 (with\n"
    "                               --invalid its valid flag is 0); MESSAGE is JSON as\n"
    "                               for 'velarnctl msg encode', @FILE holding such JSON,\n"
    "                               or hex HEX...\n"
    "  pdu HEX...                   any PDU, given as bytes, in one data packet\n"
    "  param NAME VALUE             how the unit answers when the daemon reads NAME (8:1);\n"
    "                               VALUE: notfound, on (byte 1), off (byte 0), hex HEX...,\n"
    "                               text TEXT, or a MESSAGE (JSON or @FILE), e.g.\n"
    "                               param ZUK {\"id\": \"ConfigurationInMsg\", \"nodes\": {\"6\": true}}\n"
    "                               defaults: GPF on, every other name notfound\n"
    "  change NAME [VALUE]          (set NAME and) tell the daemon it changed (8:6)\n"
    "  read NAME                    read a parameter of the daemon (8:4), e.g. REL, CMD, NCI\n"
    "  table [KEY=TEXT...]          the status table, in order; tells the daemon (4:6)\n"
    "                               when the link is up; no rows: an empty table\n"
    "  logbook [on|off] [FIELD=N...]  the answer to the daemon's logbook poll (1:1);\n"
    "                               off leaves it unanswered; FIELD: mode, tripValid,\n"
    "                               odometer, tripOdometer, tripStarted, tripDuration,\n"
    "                               tripDistance\n"
    "  network home|roaming|none|C [E]  report the network registration (4:A), now and\n"
    "                               at every later connection; C, E: single characters\n"
    "  gps start [MS]               a GPS fix (7:1 with the extended block) now and\n"
    "                               every MS milliseconds (default 1000), driving round\n"
    "                               a built-in loop at 50 km/h\n"
    "  gps stop | gps once          stop the fixes | send one fix\n"
    "  link down | link up          go silent (no datagram in or out) | talk again\n"
    "  disconnect | connect         close the link | open it again\n"
    "  restart [keep|new]           restart the unit, keeping its session (default) or\n"
    "                               beginning a new one\n"
    "  loss PERCENT | delay MS      change the datagram loss | delay\n"
    "  state                        print the link's state and the settings\n"
    "  echo TEXT                    print TEXT\n"
    "  wait REGEX [SECONDS]         wait until a line printed since the last wait matches\n"
    "                               REGEX (default 10 s); a time-out ends the run with\n"
    "                               status 1. Quote a REGEX that holds blanks.\n"
    "  sleep MS                     pause\n"
    "  quit                         end the run\n"
    "  help                         this text\n";

namespace {

const double kDefaultWaitSeconds = 10;

std::string Trimmed(const std::string& text) {
  const std::string::size_type begin = text.find_first_not_of(" \t\r\n");
  if (begin == std::string::npos) {
    return "";
  }
  return text.substr(begin, text.find_last_not_of(" \t\r\n") - begin + 1);
}

// Splits off the first blank-delimited word; rest is what follows, trimmed.
std::string FirstWord(const std::string& text, std::string& rest) {
  const std::string trimmed = Trimmed(text);
  const std::string::size_type end = trimmed.find_first_of(" \t");
  if (end == std::string::npos) {
    rest.clear();
    return trimmed;
  }
  rest = Trimmed(trimmed.substr(end));
  return trimmed.substr(0, end);
}

unsigned long Number(const std::string& text, unsigned long max, const std::string& what) {
  errno = 0;
  char* end = nullptr;
  // Decimal, or hex with 0x; a leading 0 doesn't make octal of "08".
  const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
  const unsigned long value = std::strtoul(text.c_str(), &end, hex ? 16 : 10);
  if (text.empty() || text[0] == '-' || *end != '\0' || errno != 0 || value > max) {
    throw std::invalid_argument(what + " must be a number from 0 to " + std::to_string(max) + ", not \"" +
                                text + "\"");
  }
  return value;
}

void Require(bool condition, const std::string& usage) {
  if (!condition) {
    throw std::invalid_argument("usage: " + usage);
  }
}

common::Buffer TextBuffer(const std::string& text) {
  common::Buffer buffer(static_cast<unsigned>(text.size()), 200);
  buffer.Append(text.data(), static_cast<unsigned>(text.size()));
  return buffer;
}

}  // namespace

UnitScript::UnitScript(UnitSimulator& unit, UnitOutput& output, const std::atomic<bool>& stop,
                       const std::string& baseDir)
    : unit(unit), output(output), stop(stop), baseDir(baseDir) {}

std::vector<std::string> UnitScript::Words(const std::string& text) {
  std::vector<std::string> words;
  std::string word;
  bool inWord = false;
  for (std::string::size_type i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == ' ' || c == '\t' || c == '\r' || c == '\n') {
      if (inWord) {
        words.push_back(word);
        word.clear();
        inWord = false;
      }
      continue;
    }
    inWord = true;
    if (c != '"' && c != '\'') {
      word += c;
      continue;
    }
    std::string::size_type j = i + 1;
    for (; j < text.size() && text[j] != c; ++j) {
      // In double quotes \" is a quote; every other backslash stays, which
      // keeps regular expressions readable.
      if (c == '"' && text[j] == '\\' && j + 1 < text.size() && text[j + 1] == '"') {
        ++j;
      }
      word += text[j];
    }
    if (j >= text.size()) {
      throw std::invalid_argument("unclosed quote");
    }
    i = j;
  }
  if (inWord) {
    words.push_back(word);
  }
  return words;
}

std::string UnitScript::FilePath(const std::string& name) const {
  if (name.empty() || name[0] == '/' || baseDir.empty()) {
    return name;
  }
  return baseDir + "/" + name;
}

UnitScript::Outcome UnitScript::Run(const std::string& line, std::string& error) {
  std::string rest;
  const std::string verb = FirstWord(line, rest);
  if (verb.empty() || verb[0] == '#') {
    return Outcome::kContinue;
  }
  // A server message or a value: JSON, @FILE of JSON, hex HEX..., or (for
  // values) notfound, on, off, text TEXT.
  auto message = [this](const std::string& source) {
    std::string text;
    if (!source.empty() && source[0] == '{') {
      text = source;
    } else if (!source.empty() && source[0] == '@') {
      std::ifstream file(FilePath(source.substr(1)), std::ios::binary);
      if (!file) {
        throw std::invalid_argument("can't read \"" + FilePath(source.substr(1)) + "\"");
      }
      text.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    } else {
      std::string hex;
      Require(FirstWord(source, hex) == "hex", "a message is JSON, @FILE or hex HEX...");
      return HexToBuffer(hex);
    }
    quorlan::Message tree;
    MessageFromJson(MessageJson::parse(text), tree);
    common::Buffer bytes(1024, 200);
    tree.Serialize(bytes);
    return bytes;
  };
  auto value = [&message](const std::string& source) -> UnitSimulator::ParamValue {
    std::string text;
    const std::string kind = FirstWord(source, text);
    if (kind == "notfound" && text.empty()) {
      return std::nullopt;
    }
    if ((kind == "on" || kind == "off") && text.empty()) {
      return TextBuffer(std::string(1, kind == "on" ? '\1' : '\0'));
    }
    if (kind == "text") {
      return TextBuffer(text);
    }
    Require(!kind.empty(), "a value is notfound, on, off, hex HEX..., text TEXT, JSON or @FILE");
    return message(source);
  };

  try {
    // Only the commands that take words split the line: the others may hold
    // JSON or text with quotes of any kind.
    const bool raw = verb == "send" || verb == "pdu" || verb == "param" || verb == "change" || verb == "echo";
    const std::vector<std::string> words = raw ? std::vector<std::string>() : Words(rest);
    if (verb == "send") {
      std::string source;
      const bool invalid = FirstWord(rest, source) == "--invalid";
      unit.SendServerMessage(message(invalid ? source : rest), !invalid);
    } else if (verb == "pdu") {
      const common::Buffer bytes = HexToBuffer(rest);
      Require(bytes.GetSize() >= 2, "pdu HEX... (at least the two bytes of the identifier)");
      unit.SendPdu(bytes);
    } else if (verb == "param" || verb == "change") {
      std::string source;
      const std::string name = FirstWord(rest, source);
      Require(!name.empty() && (verb == "change" || !source.empty()),
              verb == "param" ? "param NAME VALUE" : "change NAME [VALUE]");
      if (!source.empty()) {
        unit.SetParam(name, value(source));
      }
      if (verb == "change") {
        unit.NotifyParamChanged(name);
      }
    } else if (verb == "read") {
      Require(words.size() == 1, "read NAME");
      unit.ReadDeviceParam(words[0]);
    } else if (verb == "table") {
      Table(words);
    } else if (verb == "logbook") {
      Logbook(words);
    } else if (verb == "network") {
      Network(words);
    } else if (verb == "gps") {
      Gps(words);
    } else if (verb == "link") {
      Require(words.size() == 1 && (words[0] == "down" || words[0] == "up"), "link down|up");
      unit.SetSilent(words[0] == "down");
    } else if (verb == "connect" || verb == "disconnect") {
      Require(words.empty(), verb);
      verb == "connect" ? unit.Connect() : unit.Disconnect();
    } else if (verb == "restart") {
      Require(words.size() <= 1 && (words.empty() || words[0] == "keep" || words[0] == "new"),
              "restart [keep|new]");
      unit.Restart(words.empty() || words[0] == "keep");
    } else if (verb == "loss") {
      Require(words.size() == 1, "loss PERCENT");
      unit.SetLoss(static_cast<unsigned>(Number(words[0], 100, "the loss")));
    } else if (verb == "delay") {
      Require(words.size() == 1, "delay MS");
      unit.SetDelay(static_cast<unsigned>(Number(words[0], 60000, "the delay")));
    } else if (verb == "state") {
      Require(words.empty(), "state");
      unit.PrintState();
    } else if (verb == "echo") {
      output.Line(rest);
    } else if (verb == "wait") {
      return Wait(rest, error);
    } else if (verb == "sleep") {
      return Sleep(rest);
    } else if (verb == "quit" || verb == "exit") {
      Require(words.empty(), verb);
      return Outcome::kQuit;
    } else if (verb == "help") {
      output.Line(std::string(kHelp, sizeof(kHelp) - 2));
    } else {
      error = "unknown command \"" + verb + "\" (try help)";
      return Outcome::kBadCommand;
    }
  } catch (const std::exception& failure) {
    error = verb + ": " + failure.what();
    return Outcome::kBadCommand;
  }
  return Outcome::kContinue;
}

UnitScript::Outcome UnitScript::Wait(const std::string& rest, std::string& error) {
  const std::vector<std::string> words = Words(rest);
  Require(words.size() == 1 || words.size() == 2, "wait REGEX [SECONDS]");
  double seconds = kDefaultWaitSeconds;
  if (words.size() == 2) {
    char* end = nullptr;
    seconds = std::strtod(words[1].c_str(), &end);
    if (*end != '\0' || !(seconds > 0) || seconds > 86400) {
      throw std::invalid_argument("the time-out must be a number of seconds, not \"" + words[1] + "\"");
    }
  }
  std::regex pattern;
  try {
    pattern = std::regex(words[0]);
  } catch (const std::regex_error& failure) {
    throw std::invalid_argument("bad regular expression \"" + words[0] + "\": " + failure.what());
  }
  const auto timeout = std::chrono::milliseconds(static_cast<long long>(seconds * 1000));
  switch (output.WaitFor(pattern, timeout, stop)) {
    case UnitOutput::WaitResult::Matched:
      return Outcome::kContinue;
    case UnitOutput::WaitResult::Stopped:
      return Outcome::kQuit;
    case UnitOutput::WaitResult::TimedOut:
      break;
  }
  char shown[32];
  std::snprintf(shown, sizeof(shown), "%g", seconds);
  error = "wait timed out after " + std::string(shown) + " s: " + words[0];
  return Outcome::kWaitFailed;
}

UnitScript::Outcome UnitScript::Sleep(const std::string& rest) {
  const std::vector<std::string> words = Words(rest);
  Require(words.size() == 1, "sleep MS");
  const auto until =
      std::chrono::steady_clock::now() + std::chrono::milliseconds(Number(words[0], 86400000, "the pause"));
  while (std::chrono::steady_clock::now() < until) {
    if (stop) {
      return Outcome::kQuit;
    }
    std::this_thread::sleep_for(std::min<std::chrono::steady_clock::duration>(
        until - std::chrono::steady_clock::now(), std::chrono::milliseconds(50)));
  }
  return Outcome::kContinue;
}

void UnitScript::Table(const std::vector<std::string>& words) {
  // 4:3 can't announce 255 rows: that count means "missing".
  Require(words.size() <= 254, "table [KEY=TEXT...] (at most 254 rows)");
  std::vector<velarn::StatusTableRow> rows;
  for (const std::string& word : words) {
    const std::string::size_type equals = word.find('=');
    Require(equals != std::string::npos, "table [KEY=TEXT...]");
    velarn::StatusTableRow row;
    // 0xFFFF marks a row not yet read on the daemon's side.
    row.key = static_cast<uint16_t>(Number(word.substr(0, equals), 0xFFFE, "a row's key"));
    row.text = word.substr(equals + 1);
    rows.push_back(row);
  }
  unit.SetStatusTable(rows);
}

void UnitScript::Logbook(const std::vector<std::string>& words) {
  bool answer = true;
  velarn::LogbookData logbook = unit.GetLogbook(answer);
  for (const std::string& word : words) {
    if (word == "on" || word == "off") {
      answer = word == "on";
      continue;
    }
    const std::string::size_type equals = word.find('=');
    Require(equals != std::string::npos, "logbook [on|off] [FIELD=N...]");
    const std::string field = word.substr(0, equals);
    const std::string number = word.substr(equals + 1);
    if (field == "mode") {
      logbook.mode = static_cast<uint32_t>(Number(number, 255, field));
    } else if (field == "tripValid") {
      logbook.tripValid = Number(number, 1, field) == 1;
    } else {
      uint32_t* target = field == "odometer"       ? &logbook.odometer
                         : field == "tripOdometer" ? &logbook.tripOdometer
                         : field == "tripStarted"  ? &logbook.tripStarted
                         : field == "tripDuration" ? &logbook.tripDuration
                         : field == "tripDistance" ? &logbook.tripDistance
                                                   : nullptr;
      if (target == nullptr) {
        throw std::invalid_argument("unknown field \"" + field + "\"");
      }
      *target = static_cast<uint32_t>(Number(number, 0xFFFFFFFF, field));
    }
  }
  unit.SetLogbook(logbook, answer);
}

void UnitScript::Network(const std::vector<std::string>& words) {
  Require(words.size() == 1 || words.size() == 2, "network home|roaming|none|C [E]");
  const std::string& state = words[0];
  uint8_t status = 0;
  if (state == "home") {
    status = '1';
  } else if (state == "roaming") {
    status = '5';
  } else if (state == "none") {
    status = '0';
  } else {
    Require(state.size() == 1, "network home|roaming|none|C [E] (C a single character)");
    status = static_cast<uint8_t>(state[0]);
  }
  uint8_t extra = '0';
  if (words.size() == 2) {
    Require(words[1].size() == 1, "network home|roaming|none|C [E] (E a single character)");
    extra = static_cast<uint8_t>(words[1][0]);
  }
  unit.ReportNetwork(status, extra);
}

void UnitScript::Gps(const std::vector<std::string>& words) {
  Require(!words.empty() && words.size() <= 2, "gps start [MS] | gps stop | gps once");
  if (words[0] == "start") {
    unsigned interval = 1000;
    if (words.size() == 2) {
      interval = static_cast<unsigned>(Number(words[1], 3600000, "the interval"));
      Require(interval >= 50, "gps start [MS] (at least 50 ms)");
    }
    unit.StartGps(interval);
    return;
  }
  Require(words.size() == 1 && (words[0] == "stop" || words[0] == "once"),
          "gps start [MS] | gps stop | gps once");
  words[0] == "stop" ? unit.StopGps() : unit.SendGpsFix();
}

}  // namespace velarnctl

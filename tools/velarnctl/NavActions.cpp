#include "velarnctl/NavActions.h"

#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <sstream>
#include <stdexcept>
#include <vector>

#include "bkcom/Actions.h"
#include "bkcom/Events.h"
#include "bkcom/Text.h"

namespace velarnctl {

namespace {

using std::invalid_argument;

// The words of a line, and the rest of it for free texts.
class Words {
 public:
  explicit Words(const std::string& line) : line(line) {}

  bool AtEnd() {
    SkipBlanks();
    return position >= line.size();
  }
  std::string Next(const char* what) {
    if (AtEnd()) {
      throw invalid_argument(std::string("missing ") + what);
    }
    const size_t start = position;
    while (position < line.size() && !IsBlank(line[position])) {
      ++position;
    }
    return line.substr(start, position - start);
  }
  // Everything behind the words read so far, blanks around it removed.
  std::string Rest() {
    SkipBlanks();
    size_t end = line.size();
    while (end > position && IsBlank(line[end - 1])) {
      --end;
    }
    const std::string rest = line.substr(position, end - position);
    position = line.size();
    return rest;
  }
  void End() {
    if (!AtEnd()) {
      throw invalid_argument("unexpected \"" + Next("") + "\"");
    }
  }

 private:
  static bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r'; }
  void SkipBlanks() {
    while (position < line.size() && IsBlank(line[position])) {
      ++position;
    }
  }

  std::string line;
  size_t position = 0;
};

long long ParseInteger(const std::string& word, const char* what, long long low, long long high) {
  errno = 0;
  char* end = nullptr;
  const long long value = std::strtoll(word.c_str(), &end, 0);
  if (word.empty() || *end != '\0' || errno != 0 || value < low || value > high) {
    throw invalid_argument(std::string(what) + " must be a number from " + std::to_string(low) + " to " +
                           std::to_string(high) + ", not \"" + word + "\"");
  }
  return value;
}

uint32_t U32(const std::string& word, const char* what) {
  return static_cast<uint32_t>(ParseInteger(word, what, 0, 4294967295LL));
}

// Hundred-thousandths of a degree as on the link, or degrees with a dot.
int32_t Coordinate(const std::string& word, const char* what) {
  if (word.find('.') == std::string::npos) {
    return static_cast<int32_t>(ParseInteger(word, what, -18000000, 18000000));
  }
  char* end = nullptr;
  const double degrees = std::strtod(word.c_str(), &end);
  if (*end != '\0' || !(degrees >= -180.0 && degrees <= 180.0)) {
    throw invalid_argument(std::string(what) + " must be degrees from -180 to 180, not \"" + word + "\"");
  }
  return static_cast<int32_t>(std::lround(degrees * 100000.0));
}

using Builder = NavOutgoing (*)(Words&, uint32_t actionId, const NavSettings&);

struct ActionEntry {
  const char* name;
  const char* syntax;
  const char* summary;
  Builder build;
  bool usesActionId;
};

NavOutgoing Out(CVelarnMessage* message) {
  NavOutgoing outgoing;
  outgoing.message.reset(message);
  return outgoing;
}

template <class T>
NavOutgoing Plain(Words& words, uint32_t actionId, const NavSettings&) {
  words.End();
  std::unique_ptr<T> message(new T());
  message->actionId = actionId;
  return Out(message.release());
}

template <class T>
NavOutgoing OnOrder(Words& words, uint32_t actionId, const NavSettings&) {
  std::unique_ptr<T> message(new T());
  message->actionId = actionId;
  message->orderId = U32(words.Next("ORDER"), "ORDER");
  words.End();
  return Out(message.release());
}

template <class T>
NavOutgoing OnOrderWithReason(Words& words, uint32_t actionId, const NavSettings&) {
  std::unique_ptr<T> message(new T());
  message->actionId = actionId;
  message->orderId = U32(words.Next("ORDER"), "ORDER");
  bkcom::CopyText(message->reason, words.Rest());
  return Out(message.release());
}

template <class T>
NavOutgoing OnTextMessage(Words& words, uint32_t actionId, const NavSettings&) {
  std::unique_ptr<T> message(new T());
  message->actionId = actionId;
  message->msgId = U32(words.Next("MSG"), "MSG");
  words.End();
  return Out(message.release());
}

// One number into the member that T names.
template <class T, uint32_t T::*member>
NavOutgoing OneNumber(Words& words, uint32_t actionId, const NavSettings&) {
  std::unique_ptr<T> message(new T());
  message->actionId = actionId;
  (*message).*member = U32(words.Next("a number"), "the value");
  words.End();
  return Out(message.release());
}

NavOutgoing Acknowledge(Words& words, uint32_t, const NavSettings&) {
  std::unique_ptr<CAcknowledge> message(new CAcknowledge());
  message->actionId = U32(words.Next("ACTIONID"), "ACTIONID");
  message->error = words.AtEnd() ? 1 : U32(words.Next("ERROR"), "ERROR");
  words.End();
  return Out(message.release());
}

NavOutgoing Init(Words& words, uint32_t actionId, const NavSettings& settings) {
  std::unique_ptr<CBrenikInitVelarnAction> message(new CBrenikInitVelarnAction());
  message->actionId = actionId;
  message->kaInterval = settings.keepAliveInterval;
  bkcom::CopyText(message->version, words.AtEnd() ? settings.version : words.Next("VERSION"));
  bkcom::CopyText(message->ncVersion, settings.ncVersion);
  bkcom::CopyText(message->ncBuild, settings.ncBuild);
  bkcom::CopyText(message->snr, settings.snr);
  words.End();
  return Out(message.release());
}

NavOutgoing OrderStatus(Words& words, uint32_t actionId, const NavSettings&) {
  std::unique_ptr<CSendStatusOrderAction> message(new CSendStatusOrderAction());
  message->actionId = actionId;
  message->orderId = U32(words.Next("ORDER"), "ORDER");
  message->statusId = U32(words.Next("STATUS"), "STATUS");
  bkcom::CopyText(message->text, words.Rest());
  return Out(message.release());
}

NavOutgoing ActiveState(Words& words, uint32_t actionId, const NavSettings&) {
  std::unique_ptr<CChangeActiveStateAction> message(new CChangeActiveStateAction());
  message->actionId = actionId;
  message->orderId = U32(words.Next("ORDER"), "ORDER");
  message->newActiveState = U32(words.Next("STATE"), "STATE");
  words.End();
  return Out(message.release());
}

NavOutgoing Status(Words& words, uint32_t actionId, const NavSettings&) {
  std::unique_ptr<CSendStatusAction> message(new CSendStatusAction());
  message->actionId = actionId;
  message->statusId = U32(words.Next("STATUS"), "STATUS");
  bkcom::CopyText(message->text, words.Rest());
  return Out(message.release());
}

NavOutgoing Text(Words& words, uint32_t actionId, const NavSettings&) {
  std::unique_ptr<CSendTextMessageAction> message(new CSendTextMessageAction());
  message->actionId = actionId;
  const std::string text = words.Rest();
  if (text.empty()) {
    throw invalid_argument("missing TEXT");
  }
  bkcom::CopyText(message->text, text);
  return Out(message.release());
}

NavOutgoing NavState(Words& words, uint32_t, const NavSettings&) {
  std::unique_ptr<CNavigationStateEvent> message(new CNavigationStateEvent());
  message->navType = U32(words.Next("NAVTYPE"), "NAVTYPE");
  if (!words.AtEnd()) {
    message->eta = U32(words.Next("ETA"), "ETA");
    message->dist = U32(words.Next("DIST"), "DIST");
  }
  if (!words.AtEnd()) {
    message->rDst.lat = Coordinate(words.Next("RLAT"), "RLAT");
    message->rDst.lon = Coordinate(words.Next("RLON"), "RLON");
  }
  if (!words.AtEnd()) {
    message->uDst.lat = Coordinate(words.Next("ULAT"), "ULAT");
    message->uDst.lon = Coordinate(words.Next("ULON"), "ULON");
  }
  words.End();
  return Out(message.release());
}

NavOutgoing Gps(Words& words, uint32_t, const NavSettings&) {
  std::unique_ptr<CGPSEvent> message(new CGPSEvent());
  message->val = true;
  message->lat = Coordinate(words.Next("LAT"), "LAT");
  message->lon = Coordinate(words.Next("LON"), "LON");
  message->speed = words.AtEnd() ? 0 : static_cast<uint16_t>(ParseInteger(words.Next(""), "SPEED", 0, 65535));
  message->course =
      words.AtEnd() ? 0 : static_cast<uint16_t>(ParseInteger(words.Next(""), "COURSE", 0, 65535));
  message->sat = words.AtEnd() ? 0 : static_cast<uint8_t>(ParseInteger(words.Next(""), "SAT", 0, 255));
  message->ts = words.AtEnd() ? static_cast<uint32_t>(std::time(nullptr)) : U32(words.Next(""), "TS");
  words.End();
  return Out(message.release());
}

NavOutgoing NoFix(Words& words, uint32_t, const NavSettings&) {
  words.End();
  std::unique_ptr<CGPSEvent> message(new CGPSEvent());
  message->ts = static_cast<uint32_t>(std::time(nullptr));
  return Out(message.release());
}

// A token of raw: a word, or a "quoted text" with the escapes of the output.
std::string RawToken(const std::string& word) {
  const size_t quote = word.find('"');
  if (quote == std::string::npos) {
    return word;
  }
  std::string out = word.substr(0, quote);
  for (size_t i = quote + 1; i < word.size(); ++i) {
    if (word[i] == '"') {
      if (i + 1 != word.size()) {
        throw invalid_argument("text after the closing quote in \"" + word + "\"");
      }
      return out;
    }
    if (word[i] != '\\' || i + 1 >= word.size()) {
      out += word[i];
      continue;
    }
    const char c = word[++i];
    if (c == 'n') {
      out += '\n';
    } else if (c == 'r') {
      out += '\r';
    } else if (c == 't') {
      out += '\t';
    } else if (c == 'x' && i + 2 < word.size()) {
      out += static_cast<char>(std::strtol(word.substr(i + 1, 2).c_str(), nullptr, 16));
      i += 2;
    } else {
      out += c;
    }
  }
  throw invalid_argument("missing closing quote in " + word);
}

// Splits at blanks outside quotes.
std::vector<std::string> RawWords(const std::string& text) {
  std::vector<std::string> words;
  std::string word;
  bool quoted = false;
  bool inWord = false;
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (!quoted && (c == ' ' || c == '\t')) {
      if (inWord) {
        words.push_back(word);
        word.clear();
        inWord = false;
      }
      continue;
    }
    inWord = true;
    word += c;
    if (c == '\\' && quoted && i + 1 < text.size()) {
      word += text[++i];
    } else if (c == '"') {
      quoted = !quoted;
    }
  }
  if (inWord) {
    words.push_back(word);
  }
  return words;
}

void SetRawField(CBrenikCommunicationMessage& message, const std::string& assignment) {
  const size_t colon = assignment.find(':');
  const size_t equals = assignment.find('=', colon == std::string::npos ? 0 : colon);
  if (colon == std::string::npos || equals == std::string::npos || colon == 0) {
    throw invalid_argument("a field is NAME:TYPE=VALUE, not \"" + assignment + "\"");
  }
  const std::string name = assignment.substr(0, colon);
  const std::string type = assignment.substr(colon + 1, equals - colon - 1);
  const std::string value = RawToken(assignment.substr(equals + 1));
  const char* key = name.c_str();
  bool ok = false;
  if (type == "int8") {
    ok = message.SetInt8(key, static_cast<int8_t>(ParseInteger(value, "an int8", -128, 127)));
  } else if (type == "uint8") {
    ok = message.SetUint8(key, static_cast<uint8_t>(ParseInteger(value, "a uint8", 0, 255)));
  } else if (type == "int16") {
    ok = message.SetInt16(key, static_cast<int16_t>(ParseInteger(value, "an int16", -32768, 32767)));
  } else if (type == "uint16") {
    ok = message.SetUint16(key, static_cast<uint16_t>(ParseInteger(value, "a uint16", 0, 65535)));
  } else if (type == "int32") {
    ok = message.SetInt32(key,
                          static_cast<int32_t>(ParseInteger(value, "an int32", -2147483648LL, 2147483647)));
  } else if (type == "uint32") {
    ok = message.SetUint32(key, U32(value, "a uint32"));
  } else if (type == "int64") {
    ok = message.SetLong64(key, ParseInteger(value, "an int64", INT64_MIN, INT64_MAX));
  } else if (type == "bool") {
    ok = message.SetBool(key, value == "true"    ? 1
                              : value == "false" ? 0
                                                 : static_cast<int>(ParseInteger(value, "a bool", 0, 1)));
  } else if (type == "real") {
    char* end = nullptr;
    const double real = std::strtod(value.c_str(), &end);
    if (value.empty() || *end != '\0') {
      throw invalid_argument("a real must be a number, not \"" + value + "\"");
    }
    ok = message.SetReal(key, real);
  } else if (type == "text") {
    ok = message.SetStr(key, value.c_str());
  } else {
    throw invalid_argument("unknown type \"" + type +
                           "\" (int8 uint8 int16 uint16 int32 uint32 int64 bool real text)");
  }
  if (!ok) {
    throw invalid_argument("the library refused the field \"" + name + "\"");
  }
}

NavOutgoing Raw(Words& words, uint32_t, const NavSettings&) {
  NavOutgoing outgoing;
  outgoing.raw.reset(new CBrenikCommunicationMessage());
  if (!outgoing.raw->Create()) {
    throw invalid_argument("the library can't make a message");
  }
  const std::string id = words.Next("ID");
  if (id != "-") {
    outgoing.raw->SetInt8("MessageID", static_cast<int8_t>(ParseInteger(id, "ID", -128, 127)));
  }
  outgoing.rawFields = words.Rest();
  for (const std::string& field : RawWords(outgoing.rawFields)) {
    SetRawField(*outgoing.raw, field);
  }
  return outgoing;
}

const std::vector<ActionEntry>& Actions() {
  static const std::vector<ActionEntry> actions = {
      {"ack", "ack ACTIONID [ERROR]", "CAcknowledge of a daemon's action; ERROR 1 done (default), 2 refused",
       &Acknowledge, false},
      {"init", "init [VERSION]",
       "CBrenikInitVelarnAction, the handshake answer (sent by itself unless --manual-init)", &Init, true},
      {"features", "features", "CGetFeaturesInfoAction", &Plain<CGetFeaturesInfoAction>, true},
      {"wtstate", "wtstate", "CRequestWorkingTimeStateAction", &Plain<CRequestWorkingTimeStateAction>, true},
      {"wt", "wt ACTION", "CChangeWorkingTimeStateAction",
       &OneNumber<CChangeWorkingTimeStateAction, &CChangeWorkingTimeStateAction::action>, true},
      {"connstate", "connstate", "CGetConnectionStateAction", &Plain<CGetConnectionStateAction>, true},
      {"allitems", "allitems", "CGetAllItemsAction", &Plain<CGetAllItemsAction>, true},
      {"statuslist", "statuslist TYPE", "CGetStatusListAction; TYPE 1 order statuses, 2 general statuses",
       &OneNumber<CGetStatusListAction, &CGetStatusListAction::type>, true},
      {"markread", "markread ORDER", "CMarkReadOrderAction", &OnOrder<CMarkReadOrderAction>, true},
      {"accept", "accept ORDER", "CAcceptOrderAction", &OnOrder<CAcceptOrderAction>, true},
      {"reject", "reject ORDER [REASON...]", "CRejectOrderAction", &OnOrderWithReason<CRejectOrderAction>,
       true},
      {"cancel", "cancel ORDER [REASON...]", "CCancelOrderAction", &OnOrderWithReason<CCancelOrderAction>,
       true},
      {"start", "start ORDER", "CStartOrderAction", &OnOrder<CStartOrderAction>, true},
      {"suspend", "suspend ORDER", "CSuspendOrderAction", &OnOrder<CSuspendOrderAction>, true},
      {"resume", "resume ORDER", "CResumeOrderAction", &OnOrder<CResumeOrderAction>, true},
      {"complete", "complete ORDER", "CCompleteOrderAction", &OnOrder<CCompleteOrderAction>, true},
      {"orderstatus", "orderstatus ORDER STATUS [TEXT...]", "CSendStatusOrderAction", &OrderStatus, true},
      {"active", "active ORDER STATE", "CChangeActiveStateAction; STATE is the one bit of the new state",
       &ActiveState, true},
      {"delete", "delete ORDER", "CDeleteOrderAction", &OnOrder<CDeleteOrderAction>, true},
      {"markreadmsg", "markreadmsg MSG", "CMarkReadTextMessageAction",
       &OnTextMessage<CMarkReadTextMessageAction>, true},
      {"deletemsg", "deletemsg MSG", "CDeleteTextMessageAction", &OnTextMessage<CDeleteTextMessageAction>,
       true},
      {"status", "status STATUS [TEXT...]", "CSendStatusAction", &Status, true},
      {"text", "text TEXT...", "CSendTextMessageAction", &Text, true},
      {"logbook", "logbook MODE", "CChangeLogbookModeAction",
       &OneNumber<CChangeLogbookModeAction, &CChangeLogbookModeAction::newMode>, true},
      {"driver", "driver ID", "CSetDriverIdAction",
       &OneNumber<CSetDriverIdAction, &CSetDriverIdAction::driverId>, true},
      {"suspendlink", "suspendlink", "CSuspendAction: the daemon closes the link to the unit",
       &Plain<CSuspendAction>, true},
      {"navstate", "navstate NAVTYPE [ETA DIST [RLAT RLON [ULAT ULON]]]",
       "CNavigationStateEvent; NAVTYPE 1: no guidance; ETA seconds since 1970; positions as for gps",
       &NavState, false},
      {"gps", "gps LAT LON [SPEED [COURSE [SAT [TS]]]]",
       "CGPSEvent of a valid fix; LAT and LON in hundred-thousandths of a degree, or degrees with a dot; TS "
       "defaults to now",
       &Gps, false},
      {"nofix", "nofix", "CGPSEvent without a valid fix", &NoFix, false},
      {"raw", "raw ID|- [NAME:TYPE=VALUE...]",
       "any message: ID the MessageID or - for none; TYPE int8 uint8 int16 uint16 int32 uint32 int64 bool "
       "real "
       "text; a VALUE with blanks in \"quotes\"",
       &Raw, false},
  };
  return actions;
}

const ActionEntry* FindAction(const std::string& name) {
  for (const ActionEntry& action : Actions()) {
    if (name == action.name) {
      return &action;
    }
  }
  return nullptr;
}

}  // namespace

bool NavActionParser::IsAction(const std::string& word) { return FindAction(word) != nullptr; }

std::string NavActionParser::Help() {
  // Syntax in a column of its own, the summary beside it, wrapped at 80.
  constexpr size_t kColumn = 30;
  constexpr size_t kWidth = 80;
  std::string help;
  for (const ActionEntry& action : Actions()) {
    std::string line = std::string("  ") + action.syntax;
    if (line.size() + 1 > kColumn) {
      help += line + "\n";
      line.clear();
    }
    line.resize(kColumn, ' ');
    std::string word;
    std::istringstream summary(action.summary);
    bool first = true;
    while (summary >> word) {
      if (!first && line.size() + 1 + word.size() > kWidth) {
        help += line + "\n";
        line = std::string(kColumn, ' ');
        first = true;
      }
      line += (first ? "" : " ") + word;
      first = false;
    }
    help += line + "\n";
  }
  return help;
}

NavOutgoing NavActionParser::Parse(const std::string& line) {
  Words words(line);
  const std::string name = words.Next("action");
  const ActionEntry* action = FindAction(name);
  if (action == nullptr) {
    throw invalid_argument("unknown action \"" + name + "\" (\"help\" lists them)");
  }
  NavOutgoing outgoing;
  try {
    outgoing = action->build(words, nextActionId, settings);
  } catch (const invalid_argument& error) {
    throw invalid_argument(std::string(error.what()) + "; usage: " + action->syntax);
  }
  if (action->usesActionId) {
    ++nextActionId;
  }
  return outgoing;
}

std::unique_ptr<CVelarnMessage> NavActionParser::MakeInit() { return std::move(Parse("init").message); }

}  // namespace velarnctl

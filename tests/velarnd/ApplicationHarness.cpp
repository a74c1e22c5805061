#include "velarnd/ApplicationHarness.h"

#include <regex>

#include "bkcom/Actions.h"
#include "bkcom/Text.h"
#include "bkcom/VelarnMessage.h"
#include "common/Exceptions.h"
#include "nmea/ANMEASentence.h"
#include "quorlan/Message.h"
#include "velarnctl/MsgJson.h"
#include "velarnctl/NavFormat.h"
#include "velarnctl/UnitMessageText.h"

namespace velarndtest {

namespace {

// The velarnctl unit line of a server message, with time=T for the event time.
std::string ServerLine(const common::Buffer& bytes) {
  quorlan::Message message;
  try {
    message.Parse(bytes);
  } catch (const std::exception& error) {
    return std::string("unparsable (") + error.what() + ")";
  }
  static const std::regex eventTime("^(0x[0-9a-fA-F]+ \\w+OutMsg) time=[0-9]+ ");
  return std::regex_replace(velarnctl::MessageLine(message), eventTime, "$1 time=T ");
}

}  // namespace

std::vector<std::string> EventLog::Take() {
  std::vector<std::string> taken;
  taken.swap(lines);
  return taken;
}

std::vector<std::string> EventLog::Of(const std::string& party) const {
  std::vector<std::string> selected;
  const std::string prefix = party + " ";
  for (const std::string& line : lines) {
    if (line.compare(0, prefix.size(), prefix) == 0) {
      selected.push_back(line.substr(prefix.size()));
    }
  }
  return selected;
}

void FakeDriver::SendMessage(const common::Buffer& message, const std::string& recipient, unsigned flags) {
  messages.push_back(message);
  std::string line = ServerLine(message);
  if (!recipient.empty() || flags != 2) {
    line += " [recipient=\"" + recipient + "\" flags=" + std::to_string(flags) + "]";
  }
  log.Add("server", line);
}

void FakeDriver::SetLogbookMode(unsigned char mode) {
  log.Add("driver", "SetLogbookMode " + std::to_string(mode));
}

void FakeDriver::SendParamResponse(const std::string& name, const common::Buffer& value) {
  log.Add("driver", "SendParamResponse " + name + " " + velarnctl::ValueText(value));
}

void FakeFeeder::Open() {
  open = true;
  log.Add("gps", "Open");
}

void FakeFeeder::Write(const nmea::ANMEASentence& sentence) {
  if (failWrites) {
    throw IOException("can write gps data", 11);
  }
  std::string line = nmea::ToString(sentence);
  while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) {
    line.pop_back();
  }
  log.Add("gps", line);
}

void FakeFeeder::Close() {
  open = false;
  log.Add("gps", "Close");
}

void RecordingSender::Send(CVelarnMessage& message) {
  message.message.SetInt8("MessageID", static_cast<int8_t>(message.GetMessageId()));
  message.Encode();
  log.Add("nav", velarnctl::FormatNavMessage(message.message));
}

ApplicationRig::ApplicationRig()
    : database("/nonexistent/velarnd-test.db"),
      driver(log),
      feeder(log),
      sender(log),
      application(database, driver, feeder) {
  application.SetSender(&sender);
}

ApplicationRig::~ApplicationRig() { application.SetSender(nullptr); }

common::Buffer ServerMessage(const std::string& json) {
  quorlan::Message message;
  velarnctl::MessageFromJson(velarnctl::MessageJson::parse(json), message);
  common::Buffer bytes(64, 200);
  message.Serialize(bytes);
  return bytes;
}

void FromServer(ApplicationRig& rig, const std::string& json) {
  rig.application.OnReceivedMessage(rig.driver, ServerMessage(json), true);
}

std::vector<std::string> Untimed(std::vector<std::string> lines) {
  static const std::regex clock("(Order_\\.(RecvAt|LMT))=[0-9]+");
  for (std::string& line : lines) {
    line = std::regex_replace(line, clock, "$1=T");
  }
  return lines;
}

void Configure(ApplicationRig& rig, const std::string& nodes) {
  FromServer(rig, R"({"id": "ConfigurationInMsg", "nodes": )" + nodes + "}");
}

void ChangeWorkingTime(ApplicationRig& rig, unsigned actionId, unsigned what) {
  CChangeWorkingTimeStateAction action;
  action.actionId = actionId;
  action.action = what;
  Deliver(rig.application, action);
}

std::string Ack(unsigned actionId, unsigned error) {
  return "nav CAcknowledge ActionId=" + std::to_string(actionId) + " Error=" + std::to_string(error);
}

void NewOrder(ApplicationRig& rig, unsigned id, bool acceptance, const std::string& moreNodes) {
  FromServer(rig, R"({"id": "NewOrderInMsg", "nodes": {"1": )" + std::to_string(id) +
                      R"(, "2": "N", "3": 0, "4": "T", "5": 0, "7": )" + (acceptance ? "true" : "false") +
                      moreNodes + "}}");
}

void NewText(ApplicationRig& rig, unsigned id, const std::string& text) {
  FromServer(rig, R"({"id": "NewTextMessageInMsg", "nodes": {"1": )" + std::to_string(id) + R"(, "2": ")" +
                      text + "\"}}");
}

std::string OrderLine(const std::string& event, unsigned id, unsigned sortKey, unsigned state,
                      const std::string& after) {
  return "nav " + event + " Order_.Id=" + std::to_string(id) + " Order_.SKey=" + std::to_string(sortKey) +
         " Order_.Type=1 Order_.State=" + std::to_string(state) +
         " Order_.RecvAt=T Order_.LMT=T Order_.AS=1 Order_.AAS=1 Order_.Dest_.Lat=0 Order_.Dest_.Long=0"
         " Order_.PA=0 Order_.Num=\"N\" Order_.Text=\"T\" Order_.TN=\"\" Order_.DestDesc=\"\"" +
         after;
}

void Handshake(ApplicationRig& rig, const char* version, unsigned keepAliveSeconds) {
  CBrenikInitVelarnAction init;
  init.actionId = 1;
  init.kaInterval = keepAliveSeconds;
  bkcom::CopyText(init.version, version);
  bkcom::CopyText(init.ncVersion, "4.2");
  bkcom::CopyText(init.ncBuild, "977");
  bkcom::CopyText(init.snr, "SN-1");
  Deliver(rig.application, init);
}

std::string WorkingTime(unsigned state, unsigned allowed, unsigned startOfWork, unsigned endOfWork,
                        unsigned startOfPause, unsigned endOfPause) {
  return "nav CCurrentWorkingTimeStateEvent CurrentState=" + std::to_string(state) +
         " AllowedActions=" + std::to_string(allowed) +
         " LastAction=0 StartOfWork=" + std::to_string(startOfWork) +
         " EndOfWork=" + std::to_string(endOfWork) + " StartOfLastPause=" + std::to_string(startOfPause) +
         " EndOfLastPause=" + std::to_string(endOfPause);
}

std::string Logbook(unsigned state, unsigned aModes, bool trip) {
  return "nav CLogbookStateEvent Logbook_.State=" + std::to_string(state) +
         " Logbook_.AModes=" + std::to_string(aModes) +
         (trip ? " Logbook_.Valid=true Logbook_.Started=1700000000 Logbook_.Odo=1200000 Logbook_.Dur=3600"
                 " Logbook_.Dist=45000"
               : " Logbook_.Valid=false Logbook_.Started=0 Logbook_.Odo=0 Logbook_.Dur=0 Logbook_.Dist=0");
}

std::string Privacy(bool on) { return std::string("nav CPrivacyStateEvent PM=") + (on ? "true" : "false"); }

common::Buffer Bytes(const std::string& bytes) {
  common::Buffer buffer(32, 200);
  buffer.Append(bytes.data(), static_cast<unsigned>(bytes.size()));
  return buffer;
}

}  // namespace velarndtest

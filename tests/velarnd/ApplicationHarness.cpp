#include "velarnd/ApplicationHarness.h"

#include <regex>

#include "bkcom/Actions.h"
#include "bkcom/VelarnMessage.h"
#include "common/Exceptions.h"
#include "nmea/ANMEASentence.h"
#include "quorlan/Message.h"
#include "velarnctl/MsgJson.h"
#include "velarnctl/NavFormat.h"
#include "velarnctl/UnitMessageText.h"

namespace velarndtest {

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

}  // namespace velarndtest

#include "velarnctl/UnitSimulator.h"

#include <arpa/inet.h>

#include <boost/bind/bind.hpp>
#include <cstdio>
#include <cstring>
#include <memory>
#include <sstream>

#include "common/Exceptions.h"
#include "common/Time.h"
#include "quorlan/AIncomingMessage.h"
#include "quorlan/Message.h"
#include "quorlan/MessageCodec.h"
#include "quorlan/MessageDump.h"
#include "velarn/ContextFile.h"
#include "velarn/Packet.h"
#include "velarn/TransportLayerContext.h"
#include "velarn/pdu/OutgoingAppMsgs.h"
#include "velarn/pdu/UnitSidePDUs.h"
#include "velarnctl/MsgFields.h"
#include "velarnctl/MsgHex.h"
#include "velarnctl/UnitMessageText.h"
#include "velarnctl/UnitOutput.h"

namespace velarnctl {

namespace {

const unsigned kTimerTickMs = 20;

std::string SessionText(uint16_t session) {
  char text[16];
  std::snprintf(text, sizeof(text), "0x%04x", session);
  return text;
}

std::string AddressText(const sockaddr_in& address) {
  char ip[INET_ADDRSTRLEN] = "?";
  inet_ntop(AF_INET, &address.sin_addr, ip, sizeof(ip));
  return std::string(ip) + ":" + std::to_string(ntohs(address.sin_port));
}

// A coordinate in degrees, as the raw form has always shown it.
PduField DegreesField(const char* name, int32_t millionths) {
  char text[32];
  std::snprintf(text, sizeof(text), "%.6f", millionths / 1e6);
  return {name, text, millionths / 1e6, ""};
}

std::vector<PduField> LogbookFields(const velarn::LogbookData& logbook) {
  return {NumberField("mode", logbook.mode, UnitLogbookModeMeaning(logbook.mode)),
          NumberField("tripValid", logbook.tripValid ? 1 : 0),
          NumberField("odometer", logbook.odometer),
          NumberField("tripOdometer", logbook.tripOdometer),
          NumberField("tripStarted", logbook.tripStarted, Time2000Meaning(logbook.tripStarted)),
          NumberField("tripDuration", logbook.tripDuration),
          NumberField("tripDistance", logbook.tripDistance)};
}

// A byte that is a letter or digit as that character, else its number.
PduField CharField(const char* name, uint8_t value, const std::string& meaning = "") {
  if (value >= 0x21 && value < 0x7F) {
    const std::string text(1, static_cast<char>(value));
    return {name, text, text, meaning};
  }
  return NumberField(name, value, meaning);
}

std::string NetworkMeaning(uint8_t status) {
  return status == '1' ? "home network" : status == '5' ? "roaming" : "not registered";
}

}  // namespace

UnitSimulator::UnitSimulator(const UnitSettings& unitSettings, UnitOutput& out)
    : settings(unitSettings),
      output(out),
      timers(mutex, kTimerTickMs),
      raw(new velarn::UDPLayer(mutex, settings.local, settings.peer)),
      frameLayer(mutex, out, settings.seed),
      transport(timers, velarn::TransportLayerImpl::Side::Unit),
      gpsTimer(boost::bind(&UnitSimulator::OnGpsTimer, this, boost::placeholders::_1), timers, 1000),
      pdu(2048, 200) {
  raw->SetRawDataReceiver(&frameLayer);
  frameLayer.SetRawDataSender(raw.get());
  frameLayer.SetFrameReceiver(&transport);
  frameLayer.SetLoss(settings.loss);
  frameLayer.SetDelay(settings.delay);
  frameLayer.SetTrace(settings.traceFrames);
  transport.SetFrameSender(&frameLayer);
  transport.SetEventHandler(this);

  // A unit that wants the GPS feed and holds no configuration, with a trip
  // begun ten minutes ago.
  common::Buffer on(1, 200);
  on.Append(static_cast<unsigned char>(1));
  params["GPF"] = on;
  logbook.odometer = 1234500;
  logbook.tripValid = true;
  logbook.tripOdometer = 1230000;
  logbook.tripStarted = common::ToEpoch2000(common::GetTime()) - 600;
  logbook.tripDuration = 600;
  logbook.tripDistance = 4500;
}

UnitSimulator::~UnitSimulator() {
  if (started) {
    Stop();
  }
}

void UnitSimulator::Start() {
  if (!settings.contextFile.empty()) {
    try {
      std::unique_ptr<velarn::ATransportLayerContext> context(velarn::ReadContextFile(settings.contextFile));
      if (!context) {
        throw ParseException("it holds no context");
      }
      transport.SetContext(context.get());
      output.Line("context loaded from " + settings.contextFile + ": session " + SessionText(Session()));
    } catch (const std::exception& error) {
      output.Line("context not loaded (" + std::string(error.what()) + "): a new session begins");
    }
  }
  if (!settings.pcapFile.empty()) {
    capture.reset(new PcapWriter(settings.pcapFile));
    frameLayer.SetCapture(capture.get());
  }
  StartThreads();
  started = true;
  if (capture) {
    capture->SetAddresses(raw->GetBoundAddress(), settings.peer);
  }
  output.Line("unit " + AddressText(raw->GetBoundAddress()) + " talks to " + AddressText(settings.peer));
  if (settings.connect) {
    Connect();
  }
}

void UnitSimulator::Stop() {
  if (!started) {
    return;
  }
  started = false;
  StopThreads();
  boost::recursive_mutex::scoped_lock lock(mutex);
  gpsTimer.Stop();
  transport.Stop();
  SaveContext();
  output.Line("unit stopped");
}

void UnitSimulator::StartThreads() {
  frameLayer.Start();
  try {
    raw->Start();
  } catch (...) {
    frameLayer.Stop();
    throw;
  }
  timers.Start();
}

void UnitSimulator::StopThreads() {
  timers.Stop();
  frameLayer.Stop();
  raw->Stop();
}

void UnitSimulator::SaveContext() {
  if (settings.contextFile.empty()) {
    return;
  }
  try {
    std::unique_ptr<velarn::ATransportLayerContext> context(transport.GetContext());
    velarn::WriteContextFile(settings.contextFile, context.get());
    output.Line("context saved to " + settings.contextFile + ": session " + SessionText(Session()));
  } catch (const std::exception& error) {
    output.Line("context not saved: " + std::string(error.what()));
  }
}

uint16_t UnitSimulator::Session() {
  std::unique_ptr<velarn::ATransportLayerContext> context(transport.GetContext());
  const velarn::TransportLayerContext* known = dynamic_cast<velarn::TransportLayerContext*>(context.get());
  return known ? known->sessionId : 0;
}

bool UnitSimulator::IsConnected() const { return std::strcmp(transport.GetStateName(), "connected") == 0; }

void UnitSimulator::Send(unsigned flags, const common::Buffer& bytes, const PduReport& report) {
  std::string note;
  if (!IsConnected()) {
    note = (flags & (velarn::Packet::kKeepForSession | velarn::Packet::kKeepAlways)) != 0
               ? "queued: link down"
               : "not sent: link down";
  }
  output.Print(ReportText(settings.form, false, report, note));
  transport.Send(flags, bytes);
}

void UnitSimulator::Report(const PduReport& report) { output.Print(ReportText(settings.form, true, report)); }

void UnitSimulator::SendServerMessage(const common::Buffer& message, bool valid) {
  boost::recursive_mutex::scoped_lock lock(mutex);
  velarn::WriteServerMessage(message, valid, pdu);
  PduReport report{
      "4:8", {NumberField("size", message.GetSize()), NumberField("valid", valid ? 1 : 0)}, {}, {}};
  DescribeMessage(message, "-> msg ", report);
  Send(velarn::Packet::kKeepAlways, pdu, report);
}

void UnitSimulator::SendPdu(const common::Buffer& bytes) {
  boost::recursive_mutex::scoped_lock lock(mutex);
  std::string name = bytes.GetSize() >= 2 ? PduName(static_cast<uint16_t>(bytes[0] << 8 | bytes[1])) : "?";
  PduField raw{"bytes", "raw hex:" + BufferToHex(bytes), BufferToHex(bytes), ""};
  raw.bare = true;
  Send(velarn::Packet::kLinkOnly, bytes, {name, {raw}, {}, {}});
}

void UnitSimulator::SetParam(const std::string& name, const ParamValue& value) {
  boost::recursive_mutex::scoped_lock lock(mutex);
  params[name] = value;
  output.Line("param " + name + " value=" + (value ? ValueText(*value) : "notfound"));
}

void UnitSimulator::NotifyParamChanged(const std::string& name) {
  boost::recursive_mutex::scoped_lock lock(mutex);
  velarn::WriteParamChanged(name, pdu);
  Send(velarn::Packet::kLinkOnly, pdu, {"8:6", {TextField("name", name)}, {}, {}});
}

void UnitSimulator::ReadDeviceParam(const std::string& name) {
  boost::recursive_mutex::scoped_lock lock(mutex);
  velarn::WriteParamRead(name, pdu);
  Send(velarn::Packet::kLinkOnly, pdu, {"8:4", {TextField("name", name)}, {}, {}});
}

void UnitSimulator::SetStatusTable(const std::vector<velarn::StatusTableRow>& rows) {
  boost::recursive_mutex::scoped_lock lock(mutex);
  table = rows;
  std::string text = "table rows=" + std::to_string(rows.size());
  for (const velarn::StatusTableRow& row : rows) {
    text += " " + std::to_string(row.key) + "=" + Quoted(row.text);
  }
  output.Line(text);
  if (IsConnected()) {
    velarn::WriteStatusTableChanged(pdu);
    Send(velarn::Packet::kLinkOnly, pdu, {"4:6", {}, {}, {}});
  }
}

velarn::LogbookData UnitSimulator::GetLogbook(bool& answer) {
  boost::recursive_mutex::scoped_lock lock(mutex);
  answer = answerLogbook;
  return logbook;
}

void UnitSimulator::SetLogbook(const velarn::LogbookData& data, bool answer) {
  boost::recursive_mutex::scoped_lock lock(mutex);
  logbook = data;
  answerLogbook = answer;
  output.Line(std::string("logbook ") + (answer ? "on " : "off ") +
              FieldsText(OutputForm::Raw, LogbookFields(logbook)));
}

void UnitSimulator::ReportNetwork(uint8_t status, uint8_t extra) {
  boost::recursive_mutex::scoped_lock lock(mutex);
  networkKnown = true;
  networkStatus = status;
  networkExtra = extra;
  SendNetwork();
}

void UnitSimulator::SendNetwork() {
  velarn::WriteNetworkRegistration(networkStatus, networkExtra, pdu);
  Send(velarn::Packet::kLinkOnly, pdu,
       {"4:A",
        {CharField("status", networkStatus, NetworkMeaning(networkStatus)), CharField("extra", networkExtra)},
        {},
        {}});
}

void UnitSimulator::StartGps(unsigned intervalMs) {
  boost::recursive_mutex::scoped_lock lock(mutex);
  gpsInterval = intervalMs;
  gpsTimer.SetInterval(intervalMs);
  output.Line("gps every " + std::to_string(intervalMs) + " ms");
  SendGpsFix();
  gpsTimer.Start();
}

void UnitSimulator::StopGps() {
  boost::recursive_mutex::scoped_lock lock(mutex);
  gpsTimer.Stop();
  output.Line("gps stopped");
}

void UnitSimulator::OnGpsTimer(common::Timer& timer) {
  route.Advance(gpsInterval);
  SendGpsFix();
  timer.Start();
}

void UnitSimulator::SendGpsFix() {
  boost::recursive_mutex::scoped_lock lock(mutex);
  velarn::GPSFix fix;
  velarn::GPSFixEx fixEx;
  route.Fill(common::ToEpoch2000(common::GetTime()), fix, fixEx);
  velarn::WriteGPSFix(fix, &fixEx, pdu);
  Send(velarn::Packet::kLinkOnly, pdu,
       {"7:1",
        {CharField("status", fix.status,
                   fix.status == 'A'   ? "live"
                   : fix.status == 'L' ? "last known"
                                       : ""),
         DegreesField("lat", fix.latitude), DegreesField("lon", fix.longitude),
         NumberField("speed", fix.speed, "km/h"), NumberField("course", fix.course, "degrees"),
         NumberField("satellites", fix.satellites), NumberField("trip", fix.tripValue, "m")},
        {},
        {}});
}

void UnitSimulator::SetSilent(bool silent) {
  boost::recursive_mutex::scoped_lock lock(mutex);
  frameLayer.SetSilent(silent);
  output.Line(silent ? "link down: silent, no datagram passes" : "link up: datagrams pass again");
}

void UnitSimulator::SetLoss(unsigned percent) {
  boost::recursive_mutex::scoped_lock lock(mutex);
  frameLayer.SetLoss(percent);
  output.Line("loss " + std::to_string(percent) + "%");
}

void UnitSimulator::SetDelay(unsigned milliseconds) {
  boost::recursive_mutex::scoped_lock lock(mutex);
  frameLayer.SetDelay(milliseconds);
  output.Line("delay " + std::to_string(milliseconds) + " ms");
}

void UnitSimulator::Connect() {
  boost::recursive_mutex::scoped_lock lock(mutex);
  if (std::strcmp(transport.GetStateName(), "closed") != 0) {
    output.Line(std::string("link already ") + transport.GetStateName());
    return;
  }
  output.Line("link connecting session=" + SessionText(Session()));
  transport.Connect();
}

void UnitSimulator::Disconnect() {
  boost::recursive_mutex::scoped_lock lock(mutex);
  transport.Disconnect();
  output.Line("link closed");
}

void UnitSimulator::Restart(bool keepSession) {
  // A unit that restarts loses whatever was on its way to it. Here that must
  // be made so: the daemon's answer to a connect request of the old run may
  // wait in the socket, or in the receive thread for the mutex, and the new
  // run would take it for the answer to its own request. After "restart new"
  // that is fatal to the new session: the unit takes the old session for a
  // new one, while the daemon, which saw the request for a new session on a
  // link it thought up, resets and listens, and resumes the old session when
  // the unit's link times out. So, as for a unit switched off and on, the
  // threads end (what one of them holds still goes to the old run) and the
  // socket is closed with what waits in it, then all start again.
  const sockaddr_in address = raw->GetBoundAddress();
  if (started) {
    started = false;
    StopThreads();
  }
  {
    boost::recursive_mutex::scoped_lock lock(mutex);
    transport.Stop();
    if (!keepSession) {
      velarn::TransportLayerContext fresh;
      transport.SetContext(&fresh);
    }
    output.Line(keepSession ? "unit restarted, keeping session " + SessionText(Session())
                            : std::string("unit restarted without its session"));
    SaveContext();
    // The same address, also when port 0 chose it: the daemon answers there.
    raw.reset(new velarn::UDPLayer(mutex, address, settings.peer));
    raw->SetRawDataReceiver(&frameLayer);
    frameLayer.SetRawDataSender(raw.get());
  }
  StartThreads();
  started = true;
  Connect();
}

void UnitSimulator::PrintState() {
  boost::recursive_mutex::scoped_lock lock(mutex);
  output.Line(std::string("state link=") + transport.GetStateName() + " session=" + SessionText(Session()) +
              " silent=" + (frameLayer.IsSilent() ? "on" : "off") + " loss=" +
              std::to_string(frameLayer.GetLoss()) + "% delay=" + std::to_string(frameLayer.GetDelay()) +
              "ms gps=" + (gpsTimer.IsActive() ? std::to_string(gpsInterval) + "ms" : std::string("off")) +
              " table=" + std::to_string(table.size()) + " logbook=" + (answerLogbook ? "on" : "off"));
}

void UnitSimulator::OnConnected(bool newSession) {
  output.Line("link connected session=" + SessionText(Session()) + (newSession ? " new" : " resumed"));
  if (networkKnown) {
    SendNetwork();
  }
}

void UnitSimulator::OnInterrupted() { output.Line("link interrupted"); }

void UnitSimulator::OnReceived(const common::Buffer& payload) {
  std::unique_ptr<velarn::AOutgoingAppMsg> message;
  try {
    message.reset(velarn::DecodeOutgoingAppMsg(payload));
  } catch (const std::exception& error) {
    if (settings.form == OutputForm::Json) {
      output.Print(JsonLine(
          {{"dir", "in"}, {"pdu", nullptr}, {"error", error.what()}, {"hex", BufferToHex(payload)}}));
    } else {
      output.Print("<- pdu invalid (" + std::string(error.what()) + ") hex:" + BufferToHex(payload));
    }
    return;
  }
  PduReport report{PduName(message->GetId()), {}, {}, {}};
  if (auto* m = dynamic_cast<velarn::AppMsg_1_3*>(message.get())) {
    logbook.mode = m->GetMode();
    report.fields = {NumberField("mode", m->GetMode(), UnitLogbookModeMeaning(m->GetMode()))};
    Report(report);
  } else if (auto* m4 = dynamic_cast<velarn::AppMsg_4_4*>(message.get())) {
    report.fields = {NumberField("first", m4->GetFirst()), NumberField("last", m4->GetLast())};
    Report(report);
    AnswerTableRows(m4->GetFirst(), m4->GetLast());
  } else if (auto* m7 = dynamic_cast<velarn::AppMsg_4_7*>(message.get())) {
    report.fields = {NumberField("size", m7->GetMessage().GetSize())};
    if (!m7->GetRecipient().empty()) {
      report.fields.push_back(TextField("recipient", m7->GetRecipient()));
    }
    DescribeMessage(m7->GetMessage(), "<- msg ", report);
    Report(report);
  } else if (auto* m72 = dynamic_cast<velarn::AppMsg_7_2*>(message.get())) {
    report.fields = {NumberField("value", m72->GetValue())};
    Report(report);
  } else if (auto* m81 = dynamic_cast<velarn::AppMsg_8_1*>(message.get())) {
    report.fields = {TextField("name", m81->GetName())};
    Report(report);
    AnswerParam(m81->GetName());
  } else if (auto* m83 = dynamic_cast<velarn::AppMsg_8_3*>(message.get())) {
    report.fields = {TextField("name", m83->GetName()),
                     ParamValueField(m83->IsFound() ? &m83->GetValue() : nullptr)};
    Report(report);
  } else if (auto* m85 = dynamic_cast<velarn::AppMsg_8_5*>(message.get())) {
    report.fields = {TextField("name", m85->GetName())};
    Report(report);
    velarn::WriteParamRead(m85->GetName(), pdu);
    Send(velarn::Packet::kLinkOnly, pdu, {"8:4", {TextField("name", m85->GetName())}, {}, {}});
  } else {
    // 1:1, 4:2 and 4:B carry nothing but their identifier.
    Report(report);
    if (message->GetId() == velarn::AppMsg_1_1::kId) {
      AnswerLogbook();
    } else if (message->GetId() == velarn::AppMsg_4_2::kId) {
      AnswerTableSize();
    }
  }
}

void UnitSimulator::DescribeMessage(const common::Buffer& message, const std::string& head,
                                    PduReport& report) {
  quorlan::Message tree;
  try {
    tree.Parse(message);
  } catch (const std::exception& error) {
    report.more.push_back(head + "invalid (" + error.what() + ") hex:" + BufferToHex(message));
    report.msg = {{"error", error.what()}, {"hex", BufferToHex(message)}};
    return;
  }
  report.msg = MessageObject(tree);
  report.more.push_back(head + MessageLine(tree, settings.form));
  // The node tree, in the raw form only: the readable line already names
  // every node and tells what its number means.
  if (!settings.dumpTrees || settings.form != OutputForm::Raw || head[0] != '<') {
    return;
  }
  std::ostringstream dump;
  dump << tree;
  // Messages of the server's own set are also shown as the daemon reads
  // them, with the rule they break if they aren't valid.
  if (quorlan::MessageCodec::IsRegistered(tree.GetId())) {
    try {
      PrintFields(dump, *quorlan::MessageCodec::Parse(message));
    } catch (const std::exception& error) {
      dump << "refused: " << error.what() << "\n";
    }
  }
  std::istringstream lines(dump.str());
  std::string line;
  while (std::getline(lines, line)) {
    report.more.push_back("   " + line);
  }
}

void UnitSimulator::AnswerParam(const std::string& name) {
  const auto known = params.find(name);
  const common::Buffer* value = known == params.end() || !known->second ? nullptr : &*known->second;
  velarn::WriteParamValue(name, value, pdu);
  Send(velarn::Packet::kLinkOnly, pdu, {"8:2", {TextField("name", name), ParamValueField(value)}, {}, {}});
}

void UnitSimulator::AnswerLogbook() {
  if (!answerLogbook) {
    return;
  }
  velarn::WriteLogbookData(logbook, pdu);
  Send(velarn::Packet::kLinkOnly, pdu, {"1:2", LogbookFields(logbook), {}, {}});
}

void UnitSimulator::AnswerTableSize() {
  velarn::WriteStatusTableSize(static_cast<uint8_t>(table.size()), true, pdu);
  Send(velarn::Packet::kLinkOnly, pdu,
       {"4:3", {NumberField("rows", static_cast<int64_t>(table.size()))}, {}, {}});
}

void UnitSimulator::AnswerTableRows(unsigned first, unsigned last) {
  for (unsigned index = first; index <= last && index < table.size(); ++index) {
    velarn::WriteStatusTableRow(static_cast<uint8_t>(index), table[index], pdu);
    Send(velarn::Packet::kLinkOnly, pdu,
         {"4:5",
          {NumberField("index", index), NumberField("key", table[index].key),
           TextField("text", table[index].text)},
          {},
          {}});
  }
}

}  // namespace velarnctl

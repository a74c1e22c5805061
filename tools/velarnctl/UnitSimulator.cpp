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

std::string Degrees(int32_t millionths) {
  char text[32];
  std::snprintf(text, sizeof(text), "%.6f", millionths / 1e6);
  return text;
}

// Every line of text indented by three blanks, so that a tree stands under
// the line that announced it.
std::string Indented(const std::string& text) {
  std::string result;
  std::istringstream lines(text);
  std::string line;
  while (std::getline(lines, line)) {
    result += "\n   " + line;
  }
  return result;
}

std::string LogbookText(const velarn::LogbookData& logbook) {
  return "mode=" + std::to_string(logbook.mode) + " tripValid=" + (logbook.tripValid ? "1" : "0") +
         " odometer=" + std::to_string(logbook.odometer) +
         " tripOdometer=" + std::to_string(logbook.tripOdometer) +
         " tripStarted=" + std::to_string(logbook.tripStarted) +
         " tripDuration=" + std::to_string(logbook.tripDuration) +
         " tripDistance=" + std::to_string(logbook.tripDistance);
}

std::string CharText(uint8_t value) {
  if (value >= 0x21 && value < 0x7F) {
    return std::string(1, static_cast<char>(value));
  }
  return std::to_string(value);
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
  StartThreads();
  started = true;
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

void UnitSimulator::Send(unsigned flags, const common::Buffer& bytes, const std::string& text) {
  std::string note;
  if (!IsConnected()) {
    note = (flags & (velarn::Packet::kKeepForSession | velarn::Packet::kKeepAlways)) != 0
               ? " (queued: link down)"
               : " (not sent: link down)";
  }
  output.Line("-> " + text + note);
  transport.Send(flags, bytes);
}

void UnitSimulator::SendServerMessage(const common::Buffer& message, bool valid) {
  boost::recursive_mutex::scoped_lock lock(mutex);
  velarn::WriteServerMessage(message, valid, pdu);
  std::string text = "pdu 4:8 size=" + std::to_string(message.GetSize()) + " valid=" + (valid ? "1" : "0");
  quorlan::Message tree;
  try {
    tree.Parse(message);
    text += "\n-> msg " + MessageLine(tree);
  } catch (const std::exception& error) {
    text += "\n-> msg invalid (" + std::string(error.what()) + ") hex:" + BufferToHex(message);
  }
  Send(velarn::Packet::kKeepAlways, pdu, text);
}

void UnitSimulator::SendPdu(const common::Buffer& bytes) {
  boost::recursive_mutex::scoped_lock lock(mutex);
  std::string name = bytes.GetSize() >= 2 ? PduName(static_cast<uint16_t>(bytes[0] << 8 | bytes[1])) : "?";
  Send(velarn::Packet::kLinkOnly, bytes, "pdu " + name + " raw hex:" + BufferToHex(bytes));
}

void UnitSimulator::SetParam(const std::string& name, const ParamValue& value) {
  boost::recursive_mutex::scoped_lock lock(mutex);
  params[name] = value;
  output.Line("param " + name + " value=" + (value ? ValueText(*value) : "notfound"));
}

void UnitSimulator::NotifyParamChanged(const std::string& name) {
  boost::recursive_mutex::scoped_lock lock(mutex);
  velarn::WriteParamChanged(name, pdu);
  Send(velarn::Packet::kLinkOnly, pdu, "pdu 8:6 name=" + Quoted(name));
}

void UnitSimulator::ReadDeviceParam(const std::string& name) {
  boost::recursive_mutex::scoped_lock lock(mutex);
  velarn::WriteParamRead(name, pdu);
  Send(velarn::Packet::kLinkOnly, pdu, "pdu 8:4 name=" + Quoted(name));
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
    Send(velarn::Packet::kLinkOnly, pdu, "pdu 4:6");
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
  output.Line(std::string("logbook ") + (answer ? "on " : "off ") + LogbookText(logbook));
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
       "pdu 4:A status=" + CharText(networkStatus) + " extra=" + CharText(networkExtra));
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
       "pdu 7:1 status=" + CharText(fix.status) + " lat=" + Degrees(fix.latitude) +
           " lon=" + Degrees(fix.longitude) + " speed=" + std::to_string(fix.speed) +
           " course=" + std::to_string(fix.course) + " satellites=" + std::to_string(fix.satellites) +
           " trip=" + std::to_string(fix.tripValue));
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
    output.Line("<- pdu invalid (" + std::string(error.what()) + ") hex:" + BufferToHex(payload));
    return;
  }
  const std::string head = "<- pdu " + PduName(message->GetId());
  if (auto* m = dynamic_cast<velarn::AppMsg_1_3*>(message.get())) {
    logbook.mode = m->GetMode();
    output.Line(head + " mode=" + std::to_string(m->GetMode()));
  } else if (auto* m4 = dynamic_cast<velarn::AppMsg_4_4*>(message.get())) {
    output.Line(head + " first=" + std::to_string(m4->GetFirst()) + " last=" + std::to_string(m4->GetLast()));
    AnswerTableRows(m4->GetFirst(), m4->GetLast());
  } else if (auto* m7 = dynamic_cast<velarn::AppMsg_4_7*>(message.get())) {
    PrintServerMessage(
        m7->GetMessage(),
        head + " size=" + std::to_string(m7->GetMessage().GetSize()) +
            (m7->GetRecipient().empty() ? std::string() : " recipient=" + Quoted(m7->GetRecipient())));
  } else if (auto* m72 = dynamic_cast<velarn::AppMsg_7_2*>(message.get())) {
    output.Line(head + " value=" + std::to_string(m72->GetValue()));
  } else if (auto* m81 = dynamic_cast<velarn::AppMsg_8_1*>(message.get())) {
    output.Line(head + " name=" + Quoted(m81->GetName()));
    AnswerParam(m81->GetName());
  } else if (auto* m83 = dynamic_cast<velarn::AppMsg_8_3*>(message.get())) {
    output.Line(head + " name=" + Quoted(m83->GetName()) +
                " value=" + (m83->IsFound() ? ValueText(m83->GetValue()) : "notfound"));
  } else if (auto* m85 = dynamic_cast<velarn::AppMsg_8_5*>(message.get())) {
    output.Line(head + " name=" + Quoted(m85->GetName()));
    velarn::WriteParamRead(m85->GetName(), pdu);
    Send(velarn::Packet::kLinkOnly, pdu, "pdu 8:4 name=" + Quoted(m85->GetName()));
  } else {
    // 1:1, 4:2 and 4:B carry nothing but their identifier.
    output.Line(head);
    if (message->GetId() == velarn::AppMsg_1_1::kId) {
      AnswerLogbook();
    } else if (message->GetId() == velarn::AppMsg_4_2::kId) {
      AnswerTableSize();
    }
  }
}

void UnitSimulator::PrintServerMessage(const common::Buffer& message, const std::string& head) {
  std::string text = head;
  quorlan::Message tree;
  try {
    tree.Parse(message);
  } catch (const std::exception& error) {
    output.Line(text + "\n<- msg invalid (" + error.what() + ") hex:" + BufferToHex(message));
    return;
  }
  text += "\n<- msg " + MessageLine(tree);
  if (settings.dumpTrees) {
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
    text += Indented(dump.str());
  }
  output.Line(text);
}

void UnitSimulator::AnswerParam(const std::string& name) {
  const auto known = params.find(name);
  if (known == params.end() || !known->second) {
    velarn::WriteParamValue(name, nullptr, pdu);
    Send(velarn::Packet::kLinkOnly, pdu, "pdu 8:2 name=" + Quoted(name) + " value=notfound");
    return;
  }
  velarn::WriteParamValue(name, &*known->second, pdu);
  Send(velarn::Packet::kLinkOnly, pdu,
       "pdu 8:2 name=" + Quoted(name) + " value=" + ValueText(*known->second));
}

void UnitSimulator::AnswerLogbook() {
  if (!answerLogbook) {
    return;
  }
  velarn::WriteLogbookData(logbook, pdu);
  Send(velarn::Packet::kLinkOnly, pdu, "pdu 1:2 " + LogbookText(logbook));
}

void UnitSimulator::AnswerTableSize() {
  velarn::WriteStatusTableSize(static_cast<uint8_t>(table.size()), true, pdu);
  Send(velarn::Packet::kLinkOnly, pdu, "pdu 4:3 rows=" + std::to_string(table.size()));
}

void UnitSimulator::AnswerTableRows(unsigned first, unsigned last) {
  for (unsigned index = first; index <= last && index < table.size(); ++index) {
    velarn::WriteStatusTableRow(static_cast<uint8_t>(index), table[index], pdu);
    Send(velarn::Packet::kLinkOnly, pdu,
         "pdu 4:5 index=" + std::to_string(index) + " key=" + std::to_string(table[index].key) +
             " text=" + Quoted(table[index].text));
  }
}

}  // namespace velarnctl

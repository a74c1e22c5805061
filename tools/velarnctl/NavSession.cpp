#include "velarnctl/NavSession.h"

#include <unistd.h>

#include "bkcom/Actions.h"
#include "bkcom/BrenikCommunication.h"
#include "bkcom/BrenikCommunicationMessage.h"
#include "bkcom/VelarnMessage.h"
#include "bkmp/bkmp.h"
#include "velarnctl/NavFormat.h"

namespace velarnctl {

namespace {

// The receive's time-out in microseconds. Close() wakes the receive, so the
// loop blocks until the daemon sends; without the library's wake it looks at
// the flag every 200 ms.
int ReceiveTimeout() { return CBrenikCommunicationServer::CanWake() ? 60000000 : 200000; }
constexpr int kConnectTimeout = 1000000;
constexpr auto kRetryPause = std::chrono::milliseconds(200);

}  // namespace

NavSession::NavSession(NavActionParser& parser, bool autoInit, std::ostream& out, OutputForm form)
    : parser(parser), autoInit(autoInit), out(out), form(form) {}

NavSession::~NavSession() { Close(); }

bool NavSession::Connect(const std::string& path, std::chrono::milliseconds timeout) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  int lastCode = 0;
  for (;;) {
    BKMPConnection connection = nullptr;
    lastCode = BKMPConnectionCreate(&connection, ReceiveTimeout());
    if (lastCode == BKMP_OK) {
      lastCode = BKMPConnectionConnectTimeout(connection, path.c_str(), kConnectTimeout);
      if (lastCode == BKMP_OK) {
        client.SetConnection(connection);
        std::lock_guard<std::mutex> lock(mutex);
        PrintNote("connected to " + path);
        return true;
      }
      BKMPConnectionDestroy(connection);
    }
    if (timeout.count() > 0 && std::chrono::steady_clock::now() + kRetryPause > deadline) {
      connectError = lastCode;
      return false;
    }
    std::this_thread::sleep_for(kRetryPause);
  }
}

void NavSession::Start() { receiver = std::thread(&NavSession::ReceiveLoop, this); }

void NavSession::ReceiveLoop() {
  for (;;) {
    {
      std::lock_guard<std::mutex> lock(mutex);
      if (stopping || gone) {
        return;
      }
    }
    BKMPMessage handle = nullptr;
    const int code = BKMPConnectionReceive(client.GetConnection(), &handle);
    if (code == BKMP_E_TIMEOUT) {
      continue;
    }
    std::lock_guard<std::mutex> lock(mutex);
    if (code != BKMP_OK) {
      if (!stopping) {
        MarkGone(std::string(BKMPErrorString(code)) + " (code " + std::to_string(code) + ")");
      }
      return;
    }
    CBrenikCommunicationMessage message;
    message.Attach(handle);
    const std::string line = FormatNavMessage(message, form, true);
    PrintLine(form == OutputForm::Json ? line : "<- " + line);
    received.push_back(line);
    changed.notify_all();

    int8_t id = 0;
    if (autoInit && message.GetInt8("MessageID", &id) && id == CVelarnInitBrenikAction::kId) {
      NavOutgoing answer;
      answer.message = parser.MakeInit();
      handshakeAnswered = SendLocked(answer) || handshakeAnswered;
      changed.notify_all();
    }
  }
}

bool NavSession::Send(NavOutgoing& outgoing) {
  std::lock_guard<std::mutex> lock(mutex);
  return SendLocked(outgoing);
}

bool NavSession::SendLocked(NavOutgoing& outgoing) {
  if (gone) {
    PrintNote("not sent: the daemon has gone");
    return false;
  }
  CBrenikCommunicationMessage& message = outgoing.message ? outgoing.message->message : *outgoing.raw;
  const bool sent = outgoing.message ? outgoing.message->Send(client) : outgoing.raw->Send(client);
  if (!sent) {
    const int code = client.GetLastError();
    MarkGone(std::string("send failed: ") + BKMPErrorString(code) + " (code " + std::to_string(code) + ")");
    return false;
  }
  std::string line = FormatNavMessage(message, form, false);
  if (form == OutputForm::Json) {
    if (outgoing.raw) {
      // As typed, since a raw message may fit no class.
      line.insert(line.size() - 1, ",\"typed\":" + JsonLine(outgoing.rawFields));
    }
    PrintLine(line);
    return true;
  }
  if (outgoing.raw && (line[0] == '?' || line.find(" (malformed") != std::string::npos)) {
    line += " (raw " + outgoing.rawFields + ")";
  }
  PrintLine("-> " + line);
  return true;
}

NavSession::WaitResult NavSession::Wait(const std::regex& pattern, std::chrono::milliseconds timeout) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  std::unique_lock<std::mutex> lock(mutex);
  size_t next = consumed;
  for (;;) {
    for (; next < received.size(); ++next) {
      if (std::regex_search(received[next], pattern)) {
        consumed = next + 1;
        return WaitResult::Matched;
      }
    }
    if (gone) {
      return WaitResult::Gone;
    }
    if (changed.wait_until(lock, deadline) == std::cv_status::timeout && next == received.size() && !gone) {
      return WaitResult::TimedOut;
    }
  }
}

bool NavSession::WaitForHandshake(std::chrono::milliseconds timeout) {
  std::unique_lock<std::mutex> lock(mutex);
  return changed.wait_for(lock, timeout, [this] { return handshakeAnswered || gone; }) && handshakeAnswered;
}

void NavSession::Sleep(std::chrono::milliseconds duration) {
  std::unique_lock<std::mutex> lock(mutex);
  changed.wait_for(lock, duration, [this] { return gone; });
}

bool NavSession::Gone() {
  std::lock_guard<std::mutex> lock(mutex);
  return gone;
}

void NavSession::WaitUntilGone() {
  std::unique_lock<std::mutex> lock(mutex);
  changed.wait(lock, [this] { return gone; });
}

void NavSession::Note(const std::string& text) {
  std::lock_guard<std::mutex> lock(mutex);
  PrintNote(text);
}

void NavSession::Close() {
  {
    std::lock_guard<std::mutex> lock(mutex);
    stopping = true;
  }
  client.Wake();
  if (receiver.joinable()) {
    receiver.join();
  }
  client.Close();
}

// One write per line, so that lines of several writers sharing a pipe stay whole.
void NavSession::PrintLine(const std::string& line) { out << (line + '\n') << std::flush; }

void NavSession::PrintNote(const std::string& text) {
  PrintLine(form == OutputForm::Json ? JsonLine({{"note", text}}) : "# " + text);
}

void NavSession::MarkGone(const std::string& why) {
  if (!gone) {
    gone = true;
    PrintNote("disconnected: " + why);
  }
  changed.notify_all();
}

}  // namespace velarnctl

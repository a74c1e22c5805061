#pragma once

// The connection of velarnctl nav to the daemon: a thread that receives and
// prints every message ("<- ..."), answers the daemon's handshake, and keeps
// the received lines for "wait"; sends from the input ("-> ..."). Every line
// goes to out whole and flushed, sends and prints under one lock, so that
// an answer never shows before the action that caused it. Messages are
// shown in the form chosen (NavFormat.h); notes on the connection are
// "# text" lines, or {"note": "text"} objects in the JSON form.

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <ostream>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "bkcom/BrenikCommunication.h"
#include "velarnctl/Meanings.h"
#include "velarnctl/NavActions.h"

namespace velarnctl {

class NavSession {
 public:
  // autoInit: answer CVelarnInitBrenikAction with parser.MakeInit().
  NavSession(NavActionParser& parser, bool autoInit, std::ostream& out, OutputForm form);
  ~NavSession();
  NavSession(const NavSession&) = delete;
  NavSession& operator=(const NavSession&) = delete;

  // Tries to connect every 200 ms until the daemon listens or timeout runs
  // out (zero: no limit). Prints "# connected to PATH".
  bool Connect(const std::string& path, std::chrono::milliseconds timeout);
  // The library's code of the last failed try.
  int GetConnectError() const { return connectError; }
  // Starts receiving.
  void Start();

  // Sends and prints the message; false, with a note, if it failed (the
  // connection is then lost).
  bool Send(NavOutgoing& outgoing);

  enum class WaitResult { Matched, TimedOut, Gone };
  // Waits for a received line (without "<- ") that matches pattern, looking
  // first at lines not yet consumed by an earlier wait: a line that came
  // before the wait began counts, and each line satisfies one wait only.
  WaitResult Wait(const std::regex& pattern, std::chrono::milliseconds timeout);
  // Waits until the handshake was answered by itself (autoInit), the daemon
  // has gone or timeout ran out; true in the first case.
  bool WaitForHandshake(std::chrono::milliseconds timeout);
  // Sleeps, or less if the daemon goes away.
  void Sleep(std::chrono::milliseconds duration);

  // The daemon has gone (or a send failed).
  bool Gone();
  // Blocks until Gone().
  void WaitUntilGone();
  // Prints "# text".
  void Note(const std::string& text);

  // Stops receiving and closes the connection.
  void Close();

 private:
  void ReceiveLoop();
  void PrintLine(const std::string& line);  // with the lock held
  void PrintNote(const std::string& text);  // with the lock held
  bool SendLocked(NavOutgoing& outgoing);
  void MarkGone(const std::string& why);  // with the lock held

  NavActionParser& parser;
  const bool autoInit;
  std::ostream& out;
  const OutputForm form;

  CBrenikCommunicationClient client{nullptr};
  std::thread receiver;

  std::mutex mutex;  // output, sends, the lines and the flags
  std::condition_variable changed;
  std::vector<std::string> received;
  size_t consumed = 0;  // lines before this index satisfied a wait
  bool gone = false;
  bool handshakeAnswered = false;
  int connectError = 0;
  bool stopping = false;
};

}  // namespace velarnctl

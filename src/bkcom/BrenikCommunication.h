#pragma once

// Thin objects over the message library's servers and connections. They own
// the library's handles, keep the code of the latest call and turn it into a
// bool; nothing here throws and nothing here locks (bkcom::EventLoop keeps
// receiving on one thread and guards the connection's lifetime for senders).

#include <atomic>

#include "bkmp/bkmp.h"

class CVelarnMessageRegistry;
namespace bkcom {
class ABKComEventHandler;
}

class CBrenikCommunication {
 public:
  CBrenikCommunication() = default;
  virtual ~CBrenikCommunication() = default;
  CBrenikCommunication(const CBrenikCommunication&) = delete;
  CBrenikCommunication& operator=(const CBrenikCommunication&) = delete;

  // The return code of the latest call to the library; 0 is success.
  int GetLastError() const { return lastError; }

 protected:
  friend class CBrenikCommunicationMessage;  // a send reports into the client's code

  // Atomic because a send on another thread writes it beside a receive.
  std::atomic<int> lastError{0};
};

// One connection to the navigation application, the registry that turns its
// messages into objects, and the handler that gets them.
class CBrenikCommunicationClient : public CBrenikCommunication {
 public:
  explicit CBrenikCommunicationClient(CVelarnMessageRegistry* registry);
  // Destroys the connection and a received message nobody has handled.
  ~CBrenikCommunicationClient() override;

  int SetEventHandler(bkcom::ABKComEventHandler* handler);
  // Takes over a connection handle (from an accept or a client-side connect).
  int SetConnection(BKMPConnection handle);
  BKMPConnection GetConnection() const { return connection; }

  // Waits for one message or the library's time-out (BKMP_E_TIMEOUT).
  bool Receive();
  // The code of the latest Receive alone. lastError is shared with sends that
  // other threads make on this connection, so it may already hold a send's
  // code when the receiving thread looks at it; this one never does.
  int GetReceiveError() const { return receiveError; }

  // After a successful Receive: turns the message into an object through the
  // registry and hands it to the event handler. An unknown or undecodable
  // message is dropped and gives false.
  bool HandleReceived();

  // Ends a Receive that waits on another thread (or else the next one) as a
  // time-out. False without a connection or where the library can't.
  bool Wake();

  // Destroys the connection; true without one.
  bool Close();

 private:
  bkcom::ABKComEventHandler* eventHandler = nullptr;
  BKMPConnection connection = nullptr;
  BKMPMessage receivedMessage = nullptr;
  CVelarnMessageRegistry* registry = nullptr;
  int receiveError = 0;
};

// The listening side: a new server object per round of bkcom::EventLoop, so
// that no server exists while an application is attached.
class CBrenikCommunicationServer : public CBrenikCommunication {
 public:
  CBrenikCommunicationServer() = default;
  ~CBrenikCommunicationServer() override;

  // timeout is the library's wait of Accept and of Receive on accepted
  // connections.
  bool Create(int timeout);
  bool Listen(const char* address);
  // Waits for a peer; on success the connection goes into client. A time-out
  // is a failure like any other.
  bool Accept(CBrenikCommunicationClient& client);
  // Connections accepted before live on. True without a server.
  bool Destroy();

  // Ends an Accept that waits on another thread (or else the next one) as a
  // time-out. False without a server or where the library can't.
  bool Wake();
  // Whether the library can wake a waiting Accept or Receive: ours can, the
  // device's original library can't, and callers then rely on its time-out.
  static bool CanWake();

 private:
  BKMPServer server = nullptr;
};

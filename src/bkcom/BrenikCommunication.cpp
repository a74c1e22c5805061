#include "bkcom/BrenikCommunication.h"

#include "bkcom/ABKComEventHandler.h"
#include "bkcom/BrenikCommunicationMessage.h"
#include "bkcom/VelarnMessage.h"
#include "bkcom/VelarnMessageRegistry.h"

// Weak, so that the daemon still links and runs against the device's
// original library, which lacks them: they are then null.
extern "C" int BKMPServerWake(BKMPServer server) __attribute__((weak));
extern "C" int BKMPConnectionWake(BKMPConnection connection) __attribute__((weak));

CBrenikCommunicationClient::CBrenikCommunicationClient(CVelarnMessageRegistry* registry)
    : registry(registry) {}

CBrenikCommunicationClient::~CBrenikCommunicationClient() {
  if (receivedMessage != nullptr) {
    BKMPMessageDestroy(receivedMessage);
  }
  Close();
}

int CBrenikCommunicationClient::SetEventHandler(bkcom::ABKComEventHandler* handler) {
  eventHandler = handler;
  return 1;
}

int CBrenikCommunicationClient::SetConnection(BKMPConnection handle) {
  connection = handle;
  return 1;
}

bool CBrenikCommunicationClient::Receive() {
  if (receivedMessage != nullptr) {
    // A message that nobody handled: don't lose its memory.
    BKMPMessageDestroy(receivedMessage);
    receivedMessage = nullptr;
  }
  receiveError = BKMPConnectionReceive(connection, &receivedMessage);
  lastError = receiveError;
  if (receiveError != BKMP_OK) {
    receivedMessage = nullptr;
  }
  return receiveError == BKMP_OK;
}

bool CBrenikCommunicationClient::HandleReceived() {
  CBrenikCommunicationMessage wrapper;
  wrapper.Attach(receivedMessage);
  receivedMessage = nullptr;
  if (registry == nullptr) {
    return false;
  }
  CVelarnMessage* message = registry->CreateMessage(wrapper);
  if (message == nullptr) {
    return false;
  }
  if (eventHandler == nullptr) {
    delete message;
    return true;
  }
  int handled = 1;
  eventHandler->HandleMessage(message, this, &handled);
  if (handled != 0) {
    delete message;
  }
  return true;
}

// Neither Wake touches lastError: it runs beside the waiting call, whose code
// that is.
bool CBrenikCommunicationClient::Wake() {
  return connection != nullptr && BKMPConnectionWake != nullptr && BKMPConnectionWake(connection) == BKMP_OK;
}

bool CBrenikCommunicationClient::Close() {
  if (connection == nullptr) {
    return true;
  }
  lastError = BKMPConnectionDestroy(connection);
  connection = nullptr;
  return lastError == BKMP_OK;
}

CBrenikCommunicationServer::~CBrenikCommunicationServer() { Destroy(); }

bool CBrenikCommunicationServer::Create(int timeout) {
  lastError = BKMPServerCreate(&server, timeout, 1, 1);
  if (lastError != BKMP_OK) {
    server = nullptr;
  }
  return lastError == BKMP_OK;
}

bool CBrenikCommunicationServer::Listen(const char* address) {
  lastError = BKMPServerListen(server, address);
  return lastError == BKMP_OK;
}

bool CBrenikCommunicationServer::Accept(CBrenikCommunicationClient& client) {
  BKMPConnection connection = nullptr;
  lastError = BKMPServerAccept(server, &connection);
  if (lastError != BKMP_OK) {
    return false;
  }
  client.SetConnection(connection);
  return true;
}

bool CBrenikCommunicationServer::Destroy() {
  if (server == nullptr) {
    return true;
  }
  lastError = BKMPServerDestroy(server);
  server = nullptr;
  return lastError == BKMP_OK;
}

bool CBrenikCommunicationServer::Wake() {
  return server != nullptr && BKMPServerWake != nullptr && BKMPServerWake(server) == BKMP_OK;
}

bool CBrenikCommunicationServer::CanWake() {
  return BKMPServerWake != nullptr && BKMPConnectionWake != nullptr;
}

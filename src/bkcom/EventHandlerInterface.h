#pragma once

class CBrenikCommunicationClient;
class CVelarnMessage;
class CVelarnMessageRegistry;

// What bkcom::EventLoop calls of its handler. Over one run: GetMessageFactory,
// OnStart, then for each attached application OnClientConnected, any number
// of HandleMessage and OnClientDisconnected, and last OnStop.
class EventHandlerInterface {
 public:
  virtual ~EventHandlerInterface() = default;
  // *handled comes in as 1; a handler that keeps message sets it to 0 and
  // then owns it, otherwise the caller deletes the message.
  virtual void HandleMessage(CVelarnMessage* message, CBrenikCommunicationClient* client, int* handled) = 0;
  virtual void OnStart() = 0;
  virtual void OnStop() = 0;
  virtual void OnClientConnected() = 0;
  virtual void OnClientDisconnected() = 0;
  virtual CVelarnMessageRegistry* GetMessageFactory() = 0;
};

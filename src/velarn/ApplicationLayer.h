#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "common/Buffer.h"
#include "common/Timer.h"
#include "velarn/IApplicationLayer.h"
#include "velarn/ITransportLayerEventHandler.h"
#include "velarn/pdu/IIncomingAppMsgHandler.h"
#include "velarn/pdu/StatusTableRow.h"

namespace common {
class TimerMgr;
}

namespace velarn {

class AOutgoingAppMsg;
class IApplicationLayerEventHandler;
class ITransportLayer;

// The top of the unit link's stack. Downward it turns the driver's requests
// into PDUs; upward it decodes the transport's payloads and raises a small set
// of events. On its own it greets the unit on every connection (4:B, 7:2 with
// 1, 1:1, then 4:2, in this order), asks for the logbook data every 15 s while
// the link is up, and keeps the unit's status table through the status table
// reader, a machine of four states (disconnected, wait-info, reading, idle)
// that reports only complete tables.
//
// No lock of its own: all entries run under the stack's mutex. Events go to a
// handler that must not block (the driver's queueing proxy). Nothing thrown
// below or above crosses this layer.
class ApplicationLayer : public IApplicationLayer,
                         public ITransportLayerEventHandler,
                         public IIncomingAppMsgHandler {
 public:
  explicit ApplicationLayer(common::TimerMgr& timerMgr);
  ~ApplicationLayer() override;

  void SendMessage(const common::Buffer& message, const std::string& recipient, unsigned flags) override;
  void RequestLogbookInfo() override;
  void SetLogbookMode(unsigned char mode) override;
  void RequestParam(const std::string& name) override;
  void SendParamResponse(const std::string& name, const common::Buffer& value) override;
  void SendParamNotFound(const std::string& name) override;
  void NotifyParamChanged(const std::string& name) override;

  void OnConnected(bool newSession) override;
  void OnInterrupted() override;
  void OnReceived(const common::Buffer& payload) override;

  // Stops the logbook poll and puts the reader back to disconnected, without
  // any event.
  virtual void Stop();

  void Handle(const AppMsg_1_2& message) override;
  void Handle(const AppMsg_4_3& message) override;
  void Handle(const AppMsg_4_5& message) override;
  void Handle(const AppMsg_4_6& message) override;
  void Handle(const AppMsg_4_8& message) override;
  void Handle(const AppMsg_4_A& message) override;
  void Handle(const AppMsg_7_1& message) override;
  void Handle(const AppMsg_8_2& message) override;
  void Handle(const AppMsg_8_4& message) override;
  void Handle(const AppMsg_8_6& message) override;

  virtual void OnLogbookTimer(common::Timer& timer);

  // Wiring, before the driver starts.
  void SetEventHandler(IApplicationLayerEventHandler* handler) { eventHandler = handler; }
  void SetTransport(ITransportLayer* transportLayer) { transport = transportLayer; }

  // "disconnected", "wait-info", "reading" or "idle"; for tests and tools.
  const char* GetReaderStateName() const;

 private:
  class AStatusTableReaderState;
  class DisconnectedSTRState;
  class WaitInfoSTRState;
  class ReadingSTRState;
  class IdleSTRState;

  // Encodes and hands to the transport; failures are swallowed.
  void Send(unsigned flags, const AOutgoingAppMsg& message);
  // Calls the event handler, if any, inside a catch-all.
  void Raise(const std::function<void(IApplicationLayerEventHandler&)>& event);
  void ChangeReaderState(AStatusTableReaderState& next);

  common::Buffer txBuffer;
  IApplicationLayerEventHandler* eventHandler;  // not owned
  ITransportLayer* transport;                   // not owned
  common::Timer logbookTimer;
  AStatusTableReaderState* readerState;
  uint8_t rowCount;
  std::vector<StatusTableRow> rows;  // the table while it is read; empty otherwise
};

}  // namespace velarn

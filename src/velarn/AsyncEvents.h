#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "common/Buffer.h"
#include "velarn/pdu/GPSFix.h"
#include "velarn/pdu/LogbookData.h"
#include "velarn/pdu/StatusTableRow.h"

namespace velarn {

class IApplicationLayerEventHandler;

// One event of the unit link on its way through the driver's queue. It holds
// copies of its arguments, never references: it outlives the call that made
// it, and the layers below reuse their buffers at once.
class AAsyncEvent {
 public:
  virtual ~AAsyncEvent() = default;
  virtual void Execute(IApplicationLayerEventHandler& handler) = 0;
  // The form the queue's worker calls.
  void Execute(IApplicationLayerEventHandler* handler) {
    if (handler != nullptr) {
      Execute(*handler);
    }
  }
};

class ConnectedEvent : public AAsyncEvent {
 public:
  explicit ConnectedEvent(bool newSession) : newSession(newSession) {}
  using AAsyncEvent::Execute;
  void Execute(IApplicationLayerEventHandler& handler) override;

 private:
  bool newSession;
};

class InterruptedEvent : public AAsyncEvent {
 public:
  using AAsyncEvent::Execute;
  void Execute(IApplicationLayerEventHandler& handler) override;
};

class ReceivedMessageEvent : public AAsyncEvent {
 public:
  ReceivedMessageEvent(const common::Buffer& message, bool valid);
  using AAsyncEvent::Execute;
  void Execute(IApplicationLayerEventHandler& handler) override;

 private:
  common::Buffer message;
  bool valid;
};

class StatusTableModifiedEvent : public AAsyncEvent {
 public:
  explicit StatusTableModifiedEvent(const std::vector<StatusTableRow>& table) : table(table) {}
  using AAsyncEvent::Execute;
  void Execute(IApplicationLayerEventHandler& handler) override;

 private:
  std::vector<StatusTableRow> table;
};

// The largest event: two whole structures with room for 32 satellites.
class NewGPSFixEvent : public AAsyncEvent {
 public:
  NewGPSFixEvent(const GPSFix& fix, const GPSFixEx& fixEx) : fix(fix), fixEx(fixEx) {}
  using AAsyncEvent::Execute;
  void Execute(IApplicationLayerEventHandler& handler) override;

 private:
  GPSFix fix;
  GPSFixEx fixEx;
};

class NewLogbookInfoEvent : public AAsyncEvent {
 public:
  explicit NewLogbookInfoEvent(const LogbookData& logbook) : logbook(logbook) {}
  using AAsyncEvent::Execute;
  void Execute(IApplicationLayerEventHandler& handler) override;

 private:
  LogbookData logbook;
};

class ZuParamRequestEvent : public AAsyncEvent {
 public:
  explicit ZuParamRequestEvent(const std::string& name) : name(name) {}
  using AAsyncEvent::Execute;
  void Execute(IApplicationLayerEventHandler& handler) override;

 private:
  std::string name;
};

class VelarnParamResponseEvent : public AAsyncEvent {
 public:
  VelarnParamResponseEvent(const std::string& name, const common::Buffer& value);
  using AAsyncEvent::Execute;
  void Execute(IApplicationLayerEventHandler& handler) override;

 private:
  std::string name;
  common::Buffer value;
};

class VelarnParamNotFoundEvent : public AAsyncEvent {
 public:
  explicit VelarnParamNotFoundEvent(const std::string& name) : name(name) {}
  using AAsyncEvent::Execute;
  void Execute(IApplicationLayerEventHandler& handler) override;

 private:
  std::string name;
};

class VelarnParamChangedEvent : public AAsyncEvent {
 public:
  explicit VelarnParamChangedEvent(const std::string& name) : name(name) {}
  using AAsyncEvent::Execute;
  void Execute(IApplicationLayerEventHandler& handler) override;

 private:
  std::string name;
};

class NetworkRegistrationChangedEvent : public AAsyncEvent {
 public:
  NetworkRegistrationChangedEvent(uint32_t status, uint32_t extra) : status(status), extra(extra) {}
  using AAsyncEvent::Execute;
  void Execute(IApplicationLayerEventHandler& handler) override;

 private:
  uint32_t status;
  uint32_t extra;
};

}  // namespace velarn

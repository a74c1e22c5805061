#pragma once

#include <atomic>
#include <boost/thread/recursive_mutex.hpp>
#include <string>

#include "common/Factory.h"
#include "common/TimerMgr.h"
#include "velarn/AVelarnDriver.h"
#include "velarn/AsyncEventHandlerProxy.h"
#include "velarn/IApplicationLayerEventHandler.h"
#include "velarn/ITransportLayerContextStorage.h"

namespace velarn {

class AFrameLayer;
class ARawDataLayer;
class ARawDataLayerFactory;
class ApplicationLayer;
class TransportLayerImpl;

// The facade of the unit link, the only class of it that the daemon sees. It
// owns the four layers (raw, frame, transport, application), the stack's
// recursive mutex, the timer manager and the event queue with
// its thread. Calls into the stack take the mutex; events out of it travel
// through the queue and reach the listener on the event thread, which holds
// no lock of the stack, so the listener may call back.
//
// Start reads the context file (a session survives a restart of the service)
// and starts the threads; Stop ends the threads from the timer downward,
// closes the layers without any event and writes the context file.
class VelarnDriver : public AVelarnDriver,
                     public IApplicationLayerEventHandler,
                     public ITransportLayerContextStorage {
 public:
  // The factories are used here and not kept.
  VelarnDriver(const std::string& contextFile, ARawDataLayerFactory& rawLayerFactory,
               common::Factory<AFrameLayer>& frameLayerFactory);
  ~VelarnDriver() override;

  // Throws InvalidOperationException("driver was started") when running,
  // and what the raw layer throws (e.g. IOException "can't bind socket"); a
  // failed start leaves the driver stopped, with no thread running.
  void Start();
  // Throws InvalidOperationException("driver was stopped") when not running.
  // Must not be called on the event thread (it joins it) nor with the
  // stack's mutex held. Events queued before the stop are still delivered,
  // and the listener may call the driver while they are. True when the
  // context file was written.
  bool Stop();

  // All of these throw InvalidOperationException("driver isn't started")
  // while stopped.
  void Connect() override;
  void Listen() override;
  void Disconnect() override;
  // As far as the event thread has seen the events, which may be a little
  // behind the transport's own state.
  bool IsConnected() const override;
  bool IsNewSession() const override;
  void SendMessage(const common::Buffer& message, const std::string& recipient, unsigned flags) override;
  void RequestLogbookInfo() override;
  void SetLogbookMode(unsigned char mode) override;
  void RequestParam(const std::string& name) override;
  void SendParamResponse(const std::string& name, const common::Buffer& value) override;
  void SendParamNotFound(const std::string& name) override;
  void NotifyParamChanged(const std::string& name) override;
  bool HasQueueRoom() const override;

  // The end of the event queue, on the event thread.
  void OnConnected(bool newSession) override;
  void OnInterrupted() override;
  void OnReceivedMessage(const common::Buffer& message, bool valid) override;
  void OnStatusTableModified(const std::vector<StatusTableRow>& table) override;
  void OnNewGPSFix(const GPSFix& fix, const GPSFixEx& fixEx) override;
  void OnNewLogbookInfo(const LogbookData& logbook) override;
  void OnZuParamRequest(const std::string& name) override;
  void OnVelarnParamResponse(const std::string& name, const common::Buffer& value) override;
  void OnVelarnParamNotFound(const std::string& name) override;
  void OnVelarnParamChanged(const std::string& name) override;
  void OnNetworkRegistrationChanged(unsigned status, unsigned extra) override;

  // Takes the transport's context and writes the context file. Never fails:
  // a context that can't be written costs the session at the next start.
  void SaveContext() override;

 private:
  void RequireStarted() const;
  // SaveContext with its outcome: false when the file couldn't be written.
  bool WriteContext();
  // Reads the context file into the transport; any failure means a fresh
  // start with a new session.
  void LoadContext();

  std::atomic<bool> started;
  std::string contextFile;
  mutable boost::recursive_mutex mutex;
  common::TimerMgr timerManager;
  EventTie eventTie;
  AsyncEventHandlerProxy eventProxy;
  ARawDataLayer* rawLayer;             // owned
  AFrameLayer* frameLayer;             // owned
  TransportLayerImpl* transportLayer;  // owned
  ApplicationLayer* applicationLayer;  // owned
  // Written on the event thread, read on any.
  std::atomic<bool> connected;
  std::atomic<bool> newSession;
};

}  // namespace velarn

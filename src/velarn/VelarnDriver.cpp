#include "velarn/VelarnDriver.h"

#include <memory>

#include "common/Exceptions.h"
#include "velarn/AFrameLayer.h"
#include "velarn/ARawDataLayer.h"
#include "velarn/ARawDataLayerFactory.h"
#include "velarn/ApplicationLayer.h"
#include "velarn/ContextFile.h"
#include "velarn/TransportLayerContext.h"
#include "velarn/TransportLayerImpl.h"

namespace velarn {

namespace {

const unsigned kTimerTickMs = 200;
// Events waiting for the event thread beyond which the transport takes no new
// data from the unit: each event may cause replies to the unit, and holds a
// copy of what the unit sent. Fixes at 10 Hz leave this far from full.
const size_t kMaxPendingEvents = 64;

}  // namespace

VelarnDriver::VelarnDriver(const std::string& file, ARawDataLayerFactory& rawLayerFactory,
                           common::Factory<AFrameLayer>& frameLayerFactory)
    : started(false),
      contextFile(file),
      timerManager(mutex, kTimerTickMs),
      eventTie(this),
      eventProxy(eventTie),
      rawLayer(nullptr),
      frameLayer(nullptr),
      transportLayer(nullptr),
      applicationLayer(nullptr),
      connected(false),
      newSession(false) {
  std::unique_ptr<ARawDataLayer> raw(rawLayerFactory.Create(mutex));
  std::unique_ptr<AFrameLayer> frame(frameLayerFactory.Create());
  std::unique_ptr<TransportLayerImpl> transport(new TransportLayerImpl(timerManager));
  std::unique_ptr<ApplicationLayer> application(new ApplicationLayer(timerManager));

  raw->SetRawDataReceiver(frame.get());
  frame->SetRawDataSender(raw.get());
  frame->SetFrameReceiver(transport.get());
  transport->SetFrameSender(frame.get());
  transport->SetEventHandler(application.get());
  application->SetTransport(transport.get());
  transport->SetContextStorage(this);
  transport->SetReceiveGate([this] { return eventTie.Pending() < kMaxPendingEvents; });
  application->SetEventHandler(&eventProxy);

  rawLayer = raw.release();
  frameLayer = frame.release();
  transportLayer = transport.release();
  applicationLayer = application.release();
}

VelarnDriver::~VelarnDriver() {
  if (started) {
    try {
      Stop();
    } catch (...) {
    }
  }
  delete applicationLayer;
  delete transportLayer;
  delete frameLayer;
  delete rawLayer;
}

void VelarnDriver::Start() {
  if (started) {
    throw InvalidOperationException("driver was started");
  }
  LoadContext();
  eventTie.Start();
  try {
    rawLayer->Start();
    try {
      timerManager.Start();
    } catch (...) {
      rawLayer->Stop();
      throw;
    }
  } catch (...) {
    // Nothing keeps running after a failed start, so Start may be tried
    // again and the destructor has nothing to stop.
    eventTie.Stop();
    throw;
  }
  started = true;
}

bool VelarnDriver::Stop() {
  if (!started) {
    throw InvalidOperationException("driver was stopped");
  }
  // The threads end first, from the timer downward, so that what follows
  // runs alone and the context is a still picture.
  timerManager.Stop();
  // From here on no datagram comes in, so nothing more is acknowledged.
  rawLayer->Stop();
  // The events still queued may carry data the unit already got an
  // acknowledgement for. They are delivered now, and the driver keeps taking
  // the daemon's calls until they are: the replies they cause (an order's
  // workflow code 101, say) land in the transport's queue and so in the
  // context file below, and go out after the next start. Refusing the calls
  // from the beginning of the stop, as a plain shutdown would, loses those
  // replies without a trace.
  eventTie.Stop();
  started = false;
  {
    // Against a caller that passed the started test just before it changed.
    boost::recursive_mutex::scoped_lock lock(mutex);
    applicationLayer->Stop();
    transportLayer->Stop();  // no OnInterrupted for a stop
    frameLayer->Reset();
  }
  connected = false;
  newSession = false;
  return WriteContext();
}

void VelarnDriver::LoadContext() {
  try {
    std::unique_ptr<ATransportLayerContext> context(ReadContextFile(contextFile));
    boost::recursive_mutex::scoped_lock lock(mutex);
    transportLayer->SetContext(context.get());  // a stored null is refused here
  } catch (...) {
    // Missing, unreadable or damaged: the transport keeps no session, and
    // the unit's next connection begins a new one.
  }
}

void VelarnDriver::SaveContext() { WriteContext(); }

bool VelarnDriver::WriteContext() {
  try {
    std::unique_ptr<ATransportLayerContext> context;
    {
      boost::recursive_mutex::scoped_lock lock(mutex);
      context.reset(transportLayer->GetContext());
    }
    WriteContextFile(contextFile, context.get());
    return true;
  } catch (...) {
    // The next start finds the older file, or none, and begins a new session.
    return false;
  }
}

bool VelarnDriver::HasQueueRoom() const {
  RequireStarted();
  boost::recursive_mutex::scoped_lock lock(mutex);
  return transportLayer->HasRoom();
}

void VelarnDriver::RequireStarted() const {
  if (!started) {
    throw InvalidOperationException("driver isn't started");
  }
}

// --- calls into the stack

void VelarnDriver::Connect() {
  RequireStarted();
  boost::recursive_mutex::scoped_lock lock(mutex);
  transportLayer->Connect();
}

void VelarnDriver::Listen() {
  RequireStarted();
  boost::recursive_mutex::scoped_lock lock(mutex);
  transportLayer->Listen();
}

void VelarnDriver::Disconnect() {
  RequireStarted();
  boost::recursive_mutex::scoped_lock lock(mutex);
  transportLayer->Disconnect();
}

bool VelarnDriver::IsConnected() const {
  RequireStarted();
  return connected;
}

bool VelarnDriver::IsNewSession() const {
  RequireStarted();
  return newSession;
}

void VelarnDriver::SendMessage(const common::Buffer& message, const std::string& recipient, unsigned flags) {
  RequireStarted();
  boost::recursive_mutex::scoped_lock lock(mutex);
  applicationLayer->SendMessage(message, recipient, flags);
}

void VelarnDriver::RequestLogbookInfo() {
  RequireStarted();
  boost::recursive_mutex::scoped_lock lock(mutex);
  applicationLayer->RequestLogbookInfo();
}

void VelarnDriver::SetLogbookMode(unsigned char mode) {
  RequireStarted();
  boost::recursive_mutex::scoped_lock lock(mutex);
  applicationLayer->SetLogbookMode(mode);
}

void VelarnDriver::RequestParam(const std::string& name) {
  RequireStarted();
  boost::recursive_mutex::scoped_lock lock(mutex);
  applicationLayer->RequestParam(name);
}

void VelarnDriver::SendParamResponse(const std::string& name, const common::Buffer& value) {
  RequireStarted();
  boost::recursive_mutex::scoped_lock lock(mutex);
  applicationLayer->SendParamResponse(name, value);
}

void VelarnDriver::SendParamNotFound(const std::string& name) {
  RequireStarted();
  boost::recursive_mutex::scoped_lock lock(mutex);
  applicationLayer->SendParamNotFound(name);
}

void VelarnDriver::NotifyParamChanged(const std::string& name) {
  RequireStarted();
  boost::recursive_mutex::scoped_lock lock(mutex);
  applicationLayer->NotifyParamChanged(name);
}

// --- events, on the event thread

void VelarnDriver::OnConnected(bool value) {
  connected = true;
  newSession = value;
  NotifyConnected(value);
}

void VelarnDriver::OnInterrupted() {
  connected = false;
  newSession = false;
  NotifyInterrupted();
}

void VelarnDriver::OnReceivedMessage(const common::Buffer& message, bool valid) {
  NotifyReceivedMessage(message, valid);
}

void VelarnDriver::OnStatusTableModified(const std::vector<StatusTableRow>& table) {
  NotifyStatusTableModified(table);
}

void VelarnDriver::OnNewGPSFix(const GPSFix& fix, const GPSFixEx& fixEx) { NotifyNewGPSFix(fix, fixEx); }

void VelarnDriver::OnNewLogbookInfo(const LogbookData& logbook) { NotifyNewLogbookInfo(logbook); }

void VelarnDriver::OnZuParamRequest(const std::string& name) { NotifyZuParamRequest(name); }

void VelarnDriver::OnVelarnParamResponse(const std::string& name, const common::Buffer& value) {
  NotifyVelarnParamResponse(name, value);
}

void VelarnDriver::OnVelarnParamNotFound(const std::string& name) { NotifyVelarnParamNotFound(name); }

void VelarnDriver::OnVelarnParamChanged(const std::string& name) { NotifyVelarnParamChanged(name); }

void VelarnDriver::OnNetworkRegistrationChanged(unsigned status, unsigned extra) {
  NotifyNetworkRegistrationChanged(status, extra);
}

}  // namespace velarn

#pragma once

#include <string>

#include <boost/thread/recursive_mutex.hpp>

#include "bkcom/ABKComEventHandler.h"
#include "bkcom/IIncomingMessageHandler.h"
#include "common/Generator.h"
#include "common/Timer.h"
#include "common/TimerMgr.h"
#include "quorlan/IIncomingMessageHandler.h"
#include "velarn/IVelarnEventHandler.h"
#include "velarnd/CheckpointPolicy.h"

class CAbstractAction;
class CAbstractOrderAction;
class CVelarnMessage;

namespace common {
class Buffer;
}
namespace data {
class Database;
class Order;
class Status;
}  // namespace data
namespace nmea {
class IGPSFeeder;
}
namespace quorlan {
class AEventOutMsg;
class AOutgoingMessage;
}  // namespace quorlan
namespace velarn {
class IVelarnDriver;
}

namespace velarnd {

// The meeting point of the three parties: the event handler of the
// navigation link, the event handler of the unit driver and the receiver of
// the server's messages. It keeps no state of its own beyond its lock, its
// timer and the action counter; everything the service knows lives in the
// database it is given.
//
// The unit link exists only while a navigation application is attached: the
// daemon greets the application (CVelarnInitBrenikAction), and when the
// application answers with the same version of the message set it lets the
// unit open the link (Listen). When the application goes away, the link is
// closed again.
//
// Locking. One recursive mutex guards the object and the database. Every
// entry point takes it for its whole run, except HandleMessage (the handler
// it dispatches to locks), CSuspendAction (lets it go for its pause) and
// OnStop (stops the timer thread before it locks, since that thread may be
// waiting for the mutex). The mutex is handed to the event loop as its hook
// mutex, so that the loop takes it before its own lock around the
// connect/disconnect hooks: every thread takes this mutex first, the loop's
// second, the driver's third, and nothing sent by another thread overtakes
// the first message of a handshake.
//
// Handlers are grouped by subject in files of their own: ApplicationOrders,
// ApplicationTextMessages, ApplicationStatuses, ApplicationDriverState,
// ApplicationQueries, ApplicationParameters, ApplicationNavigation.
class Application : public bkcom::ABKComEventHandler,
                    public velarn::IVelarnEventHandler,
                    public bkcom::IIncomingMessageHandler,
                    public quorlan::IIncomingMessageHandler {
 public:
  // The tick that the timer manager's interface still takes (it sleeps until
  // the next deadline instead).
  static constexpr unsigned kTimerTickMs = 200;
  // The keep-alive interval until the navigation application names one.
  static constexpr unsigned kInitialKeepAliveMs = 2000;
  // How often (seconds) the navigation application is asked to report its
  // navigation state.
  static constexpr unsigned kNavStateUpdateSeconds = 60;
  // The pause of CSuspendAction between closing the unit link and the answer.
  static constexpr unsigned kSuspendPauseMs = 200;
  // How often the database is written while the service runs, if it changed
  // (see CheckpointPolicy), unless SetCheckpointInterval says otherwise.
  static constexpr unsigned kCheckpointMs = 5000;
  // A navigation application that hasn't answered the greeting this long
  // after it connected is let go: while one is attached nobody else can
  // connect.
  static constexpr unsigned kHandshakeTimeoutMs = 10000;

  // Starts nothing; the references must outlive the object.
  Application(data::Database& database, velarn::IVelarnDriver& driver, nmea::IGPSFeeder& gpsFeeder);
  ~Application() override;
  Application(const Application&) = delete;
  Application& operator=(const Application&) = delete;

  // --- Hooks of the navigation event loop ---
  void HandleMessage(CVelarnMessage* message, CBrenikCommunicationClient* client, int* handled) override;
  void OnStart() override;
  // Stops the timer thread, then writes the database.
  void OnStop() override;
  // After the driver's stop, which may still have delivered events of the
  // unit: writes the database again if they changed it (or if the write of
  // OnStop failed). True when the file holds the database as it is now.
  bool FinishStop();
  // Before OnStart: the checkpoint's period; 0 writes the database only at
  // the start and the stop.
  void SetCheckpointInterval(unsigned milliseconds) { checkpointMs = milliseconds; }
  // Before OnStart; tests shorten it.
  void SetHandshakeTimeout(unsigned milliseconds) { handshakeTimer.SetInterval(milliseconds); }
  void OnClientConnected() override;
  void OnClientDisconnected() override;
  CVelarnMessageRegistry* GetMessageFactory() override;

  // --- Messages from the navigation application ---
  void Handle(const CAcknowledge& message) override;
  void Handle(const CBrenikInitVelarnAction& message) override;
  void Handle(const CGetFeaturesInfoAction& message) override;
  void Handle(const CRequestWorkingTimeStateAction& message) override;
  void Handle(const CChangeWorkingTimeStateAction& message) override;
  void Handle(const CGetConnectionStateAction& message) override;
  void Handle(const CGetAllItemsAction& message) override;
  void Handle(const CGetStatusListAction& message) override;
  void Handle(const CMarkReadOrderAction& message) override;
  void Handle(const CAcceptOrderAction& message) override;
  void Handle(const CRejectOrderAction& message) override;
  void Handle(const CCancelOrderAction& message) override;
  void Handle(const CStartOrderAction& message) override;
  void Handle(const CSuspendOrderAction& message) override;
  void Handle(const CResumeOrderAction& message) override;
  void Handle(const CCompleteOrderAction& message) override;
  void Handle(const CSendStatusOrderAction& message) override;
  void Handle(const CChangeActiveStateAction& message) override;
  void Handle(const CDeleteOrderAction& message) override;
  void Handle(const CMarkReadTextMessageAction& message) override;
  void Handle(const CDeleteTextMessageAction& message) override;
  void Handle(const CSendTextMessageAction& message) override;
  void Handle(const CSendStatusAction& message) override;
  void Handle(const CChangeLogbookModeAction& message) override;
  void Handle(const CNavigationStateEvent& message) override;
  void Handle(const CSetDriverIdAction& message) override;
  void Handle(const CSuspendAction& message) override;
  void Handle(const CGPSEvent& message) override;

  // --- Events of the unit link, on the driver's event thread ---
  void OnConnected(velarn::IVelarnDriver& driver, bool newSession) override;
  void OnInterrupted(velarn::IVelarnDriver& driver) override;
  void OnReceivedMessage(velarn::IVelarnDriver& driver, const common::Buffer& message, bool valid) override;
  void OnStatusTableModified(velarn::IVelarnDriver& driver,
                             const std::vector<velarn::StatusTableRow>& table) override;
  void OnNewGPSFix(velarn::IVelarnDriver& driver, const velarn::GPSFix& fix,
                   const velarn::GPSFixEx& fixEx) override;
  void OnNewLogbookInfo(velarn::IVelarnDriver& driver, const velarn::LogbookData& logbook) override;
  void OnZuParamRequest(velarn::IVelarnDriver& driver, const std::string& name) override;
  void OnVelarnParamResponse(velarn::IVelarnDriver& driver, const std::string& name,
                             const common::Buffer& value) override;
  void OnVelarnParamNotFound(velarn::IVelarnDriver& driver, const std::string& name) override;
  void OnVelarnParamChanged(velarn::IVelarnDriver& driver, const std::string& name) override;
  void OnNetworkRegistrationChanged(velarn::IVelarnDriver& driver, unsigned status, unsigned extra) override;

  // --- Messages from the dispatch server, inside the lock of their caller ---
  void Handle(const quorlan::NewOrderInMsg& message) override;
  void Handle(const quorlan::UpdateOrderInMsg& message) override;
  void Handle(const quorlan::CancelOrderInMsg& message) override;
  void Handle(const quorlan::NewTextMessageInMsg& message) override;
  void Handle(const quorlan::ConfigurationInMsg& message) override;
  void Handle(const quorlan::ResetInMsg& message) override;

  // Sends CKeepAliveEvent and restarts itself; on the timer thread, with the
  // mutex held by the timer manager.
  virtual void OnKeepAliveTimer(common::Timer& timer);
  // Writes the database if CheckpointPolicy says so, and restarts itself;
  // on the timer thread, with the mutex held.
  void OnCheckpointTimer(common::Timer& timer);
  // Lets go of a navigation application that connected and never answered
  // the greeting; on the timer thread, with the mutex held.
  void OnHandshakeTimer(common::Timer& timer);

  // --- Helpers that every group of handlers uses ---
  // Sends CAcknowledge quoting the action's id: 1 carried out, 2 refused.
  void Acknowledge(unsigned error, const CAbstractAction& action);
  // For actions that send to the unit: while the queue to the unit is full
  // (IVelarnDriver::HasQueueRoom), refuses the action with Error 2 before it
  // changes anything, and returns true. A refusal the driver sees beats a
  // queue that grows without end or a message dropped in silence.
  bool RefusedForRoom(const CAbstractAction& action);
  // The common header of every event to the server: time, link age, the
  // unit's and the navigation application's positions, odometer, trip value
  // and logbook mode.
  void FillEventHeader(quorlan::AEventOutMsg& message);
  // Serialises message and hands it to the driver. Every caller passes the
  // empty recipient and flags 2: the link keeps the message while it is down
  // and across a stop of the service.
  void SendToServer(const quorlan::AOutgoingMessage& message, const std::string& recipient, unsigned flags);
  void SendFeaturesInfo();
  void SendLogbookState();
  void SendPrivacyState();
  void SendWorkingTimeState();
  // Open or close the GPS feed and tell the navigation application; nothing
  // at all when the feed is already in the wanted state.
  void OpenGpsFeed();
  void CloseGpsFeed();
  void SendOrderWorkflowEvent(const data::Order& order, unsigned code, const std::string& text,
                              const std::string& recipient, unsigned flags);
  void SendOrderModified(const data::Order& order, bool remote);

  // For tests and tools that want to see the lock the object runs under.
  boost::recursive_mutex& GetMutex() { return mutex; }

 private:
  // Flags of every server message the daemon sends.
  static constexpr unsigned kServerMessageFlags = 2;

  // The two ways a server message arrives: from the unit's data stream, where
  // a message that doesn't parse is reported back, and as the unit's
  // parameter "ZUK", where it is dropped in silence.
  void ParseAndDispatch(const common::Buffer& message);
  void SendParseError(const char* text, const common::Buffer& message);

  // Orders.
  data::Order* FindOrder(unsigned orderId);
  // Runs one workflow step of the driver on an order: looks it up, lets
  // step move it, then acknowledges, reports code (and reason) to the server
  // and the change to the navigation application. Refuses when the order is
  // missing or step returns false.
  template <class Step>
  void RunOrderAction(const CAbstractOrderAction& action, unsigned code, const std::string& reason,
                      Step step);
  void EraseOrder(unsigned orderId, bool remote);
  void EvictOldestOrder();
  void EraseTextMessage(unsigned messageId, bool remote);
  void EvictOldestTextMessage();

  // Statuses.
  void SendStatusList(bool orderStatuses);

  // Driver and logbook.
  void ApplyLogbookMode(unsigned mode);
  void FollowWorkingTime();

  // Writes the database; on success it is what CheckpointPolicy compares with.
  void WriteDatabase();

  // Configuration.
  void ApplyFirstConfiguration();
  void DeleteAllOrders();
  void DeleteAllTextMessages();

  // Parameter values that the unit reads from the daemon; false if unknown.
  bool GetZuParameter(const std::string& name, common::Buffer& value);

  boost::recursive_mutex mutex;
  common::TimerMgr timerManager;
  common::Timer keepAliveTimer;
  // The database is written when the service stops. In a vehicle the power
  // may go without an orderly stop, so between stops the database is also
  // written at checkpoints (every checkpointMs) when its content changed in
  // a way CheckpointPolicy finds worth the flash's wear.
  common::Timer checkpointTimer;
  unsigned checkpointMs = kCheckpointMs;
  CheckpointPolicy checkpoint;
  // Whether the last write of the database worked.
  bool databaseWritten = false;
  // Runs from the navigation application's connection to its answer to the
  // greeting.
  common::Timer handshakeTimer;
  common::Generator actionIds;
  // The monotonic time of the last loss of the unit link in this process
  // (0: none yet); the link's age in reports is measured from it.
  uint64_t linkLostMonotonicMs = 0;
  data::Database& database;
  velarn::IVelarnDriver& driver;
  nmea::IGPSFeeder& gpsFeeder;
};

}  // namespace velarnd

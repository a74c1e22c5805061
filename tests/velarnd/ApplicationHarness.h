#pragma once

// A velarnd::Application on a fresh database, with fakes for its three
// partners. Everything the application sends lands in one log, in the order
// it was sent, so that tests can check sequences across the parties:
//
//   nav    CAcknowledge ActionId=5 Error=1                 (velarnctl nav's line)
//   server 0x0503 OrderWorkflowEventOutMsg time=T linkAge=-1 orderId=1001 ...
//   driver Listen
//   gps    $GPRMC,...
//
// Server messages are parsed back from the bytes handed to the driver and
// shown with their named fields (velarnctl unit's line); the event time, which
// moves with the clock, shows as time=T. The raw bytes stay in
// FakeDriver::messages for tests that need them.

#include <cstdint>
#include <string>
#include <vector>

#include "bkcom/IMessageSender.h"
#include "common/Buffer.h"
#include "data/Database.h"
#include "nmea/IGPSFeeder.h"
#include "velarn/IVelarnDriver.h"
#include "velarnd/Application.h"

namespace velarndtest {

using Lines = std::vector<std::string>;

class EventLog {
 public:
  void Add(const std::string& party, const std::string& line) { lines.push_back(party + " " + line); }
  // Everything since the last Take(), and forgets it.
  std::vector<std::string> Take();
  // The lines of one party ("nav", "server", "driver", "gps") since the last Take().
  std::vector<std::string> Of(const std::string& party) const;

  std::vector<std::string> lines;
};

class FakeDriver : public velarn::IVelarnDriver {
 public:
  explicit FakeDriver(EventLog& log) : log(log) {}

  void Connect() override { log.Add("driver", "Connect"); }
  void Listen() override { log.Add("driver", "Listen"); }
  void Disconnect() override { log.Add("driver", "Disconnect"); }
  bool IsConnected() const override { return connected; }
  bool IsNewSession() const override { return false; }
  bool HasQueueRoom() const override { return !queueFull; }
  void SendMessage(const common::Buffer& message, const std::string& recipient, unsigned flags) override;
  void RequestLogbookInfo() override { log.Add("driver", "RequestLogbookInfo"); }
  void SetLogbookMode(unsigned char mode) override;
  void RequestParam(const std::string& name) override { log.Add("driver", "RequestParam " + name); }
  void SendParamResponse(const std::string& name, const common::Buffer& value) override;
  void SendParamNotFound(const std::string& name) override { log.Add("driver", "SendParamNotFound " + name); }
  void NotifyParamChanged(const std::string& name) override {
    log.Add("driver", "NotifyParamChanged " + name);
  }

  bool connected = false;
  bool queueFull = false;
  std::vector<common::Buffer> messages;  // every SendMessage payload, as given

 private:
  EventLog& log;
};

class FakeFeeder : public nmea::IGPSFeeder {
 public:
  explicit FakeFeeder(EventLog& log) : log(log) {}
  void Open() override;
  void Write(const nmea::ANMEASentence& sentence) override;
  void Close() override;
  bool IsOpen() const override { return open; }

  bool open = false;
  bool failWrites = false;  // Write throws IOException, as a full pipe does

 private:
  EventLog& log;
};

class RecordingSender : public bkcom::IMessageSender {
 public:
  explicit RecordingSender(EventLog& log) : log(log) {}
  void Send(CVelarnMessage& message) override;

 private:
  EventLog& log;
};

// The application with its partners, its sender attached as the event loop
// would attach it. The timer thread isn't started; tests that need the
// keep-alive call OnStart()/OnStop() themselves.
struct ApplicationRig {
  ApplicationRig();
  ~ApplicationRig();

  EventLog log;
  data::Database database;
  FakeDriver driver;
  FakeFeeder feeder;
  RecordingSender sender;
  velarnd::Application application;
};

// A message of the navigation link as the loop would hand it over, with
// ActionId set for actions.
template <class T>
void Deliver(velarnd::Application& application, T& message) {
  int handled = 0;
  application.HandleMessage(&message, nullptr, &handled);
}

// Builds a server message from the JSON form of "velarnctl msg encode", e.g.
// {"id": "NewOrderInMsg", "nodes": {"1": 1001, ...}}.
common::Buffer ServerMessage(const std::string& json);

// A server message from the unit, as the driver hands it to the application.
void FromServer(ApplicationRig& rig, const std::string& json);

// The lines with the clock's readings in order records (RecvAt, LMT) shown
// as T, so that transcripts with orders can be compared whole.
std::vector<std::string> Untimed(std::vector<std::string> lines);

// A ConfigurationInMsg from the unit with the given nodes, e.g. {"4": true}.
void Configure(ApplicationRig& rig, const std::string& nodes);

// The driver's action on an order; setup fills the action's own fields.
template <class Action, class Setup>
void OrderAction(ApplicationRig& rig, unsigned actionId, unsigned orderId, Setup setup) {
  Action action;
  action.actionId = actionId;
  action.orderId = orderId;
  setup(action);
  Deliver(rig.application, action);
}

template <class Action>
void OrderAction(ApplicationRig& rig, unsigned actionId, unsigned orderId) {
  OrderAction<Action>(rig, actionId, orderId, [](Action&) {});
}

// CChangeWorkingTimeStateAction with the clock action what.
void ChangeWorkingTime(ApplicationRig& rig, unsigned actionId, unsigned what);

// The navigation line of an acknowledgement: error 1 is done, 2 refused.
std::string Ack(unsigned actionId, unsigned error);

// The smallest order the server may send: number "N", text "T", wire type 0,
// no active states beyond the first; moreNodes adds keys (", \"6\": {...}").
void NewOrder(ApplicationRig& rig, unsigned id, bool acceptance = false, const std::string& moreNodes = "");
void NewText(ApplicationRig& rig, unsigned id, const std::string& text = "hi");

// The untimed navigation line of such an order, e.g. for
// "COrderModifiedEvent", with what follows the record (" Remote=true").
std::string OrderLine(const std::string& event, unsigned id, unsigned sortKey, unsigned state,
                      const std::string& after = "");

// The navigation application's answer to the greeting, action 1, from
// navigation software "4.2" build "977" on device "SN-1".
void Handshake(ApplicationRig& rig, const char* version = "1.0.5", unsigned keepAliveSeconds = 0);

// Navigation lines of the driver's side: the logbook state (with the trip
// 1700000000/1200000/3600/45000 if trip), the privacy state and the working
// time clock.
std::string Logbook(unsigned state, unsigned aModes, bool trip = false);
std::string Privacy(bool on);
std::string WorkingTime(unsigned state, unsigned allowed, unsigned startOfWork = 0, unsigned endOfWork = 0,
                        unsigned startOfPause = 0, unsigned endOfPause = 0);

// A parameter value as the unit hands it over; Bytes("\x01") asks for the GPS feed.
common::Buffer Bytes(const std::string& bytes);

}  // namespace velarndtest

#pragma once

#include <netinet/in.h>

#include <boost/thread/recursive_mutex.hpp>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "common/Buffer.h"
#include "common/Timer.h"
#include "common/TimerMgr.h"
#include "velarn/ITransportLayerEventHandler.h"
#include "velarn/TransportLayerImpl.h"
#include "velarn/UDPLayer.h"
#include "velarn/pdu/LogbookData.h"
#include "velarn/pdu/StatusTableRow.h"
#include "velarnctl/Meanings.h"
#include "velarnctl/UnitLossyLink.h"
#include "velarnctl/UnitMessageText.h"
#include "velarnctl/UnitPcap.h"
#include "velarnctl/UnitRoute.h"

namespace velarnctl {

class UnitOutput;

struct UnitSettings {
  sockaddr_in local{};      // the unit's own address (the daemon's velarnaddr)
  sockaddr_in peer{};       // the daemon (its zuaddr)
  std::string contextFile;  // empty: the session lives as long as the process
  unsigned loss = 0;        // percent of datagrams lost, each direction
  unsigned delay = 0;       // milliseconds every datagram is held back
  unsigned seed = 1;        // of the loss decisions
  bool traceFrames = false;
  bool dumpTrees = true;  // print the node tree of every server message received
  bool connect = true;    // open the link at the start
  OutputForm form = OutputForm::Readable;
  std::string pcapFile;  // empty: no capture
};

// The telematics unit, and through it the dispatch server, as one party
// of the unit link: the unit's side of the transport over UDP (it opens the
// link and keeps its session), and a small application on top that prints
// every PDU from the daemon and answers it the way a unit does:
//
// - 1:1 with 1:2, the logbook data (unless switched off); 1:3 sets its mode;
// - 4:2 with 4:3, the size of the status table, and 4:4 with one 4:5 per row;
// - 8:1 with 8:2, the value of a named parameter or "not found";
// - 8:5 (a parameter of the daemon changed) by reading it again with 8:4;
// - 4:7, a server message, is printed with its fields and node tree.
//
// The unit's own PDUs go out with the link-only flag, so that they are lost
// while the link is down, except server messages (4:8): those wait for the
// link and survive restarts and even a new session, so that a script's
// message is never lost because it was sent before the first connection. Every operation takes the stack's
// mutex; output goes to UnitOutput, one "<- " line per PDU received and one "-> " line per PDU sent.
class UnitSimulator : private velarn::ITransportLayerEventHandler {
 public:
  typedef std::optional<common::Buffer> ParamValue;  // empty: not found

  UnitSimulator(const UnitSettings& settings, UnitOutput& output);
  ~UnitSimulator() override;

  // Loads the context file if there is one, creates the capture file if one
  // is asked for and binds the socket (throws their IOException), starts the
  // threads and opens the link unless told not to.
  void Start();
  // Ends the threads, closes the link without a word, as a unit that is
  // switched off, and writes the context file.
  void Stop();
  sockaddr_in GetAddress() const { return raw->GetBoundAddress(); }

  // The server: a message to the daemon in PDU 4:8.
  void SendServerMessage(const common::Buffer& message, bool valid);
  // Any PDU, as bytes, link-only.
  void SendPdu(const common::Buffer& pdu);

  // How 8:1 is answered for name.
  void SetParam(const std::string& name, const ParamValue& value);
  // 8:6: name changed, which makes the daemon read it again.
  void NotifyParamChanged(const std::string& name);
  // 8:4: reads a parameter of the daemon; the answer is printed.
  void ReadDeviceParam(const std::string& name);

  // Replaces the status table; tells the daemon (4:6) while the link is up.
  void SetStatusTable(const std::vector<velarn::StatusTableRow>& rows);
  // The answer to 1:1, and whether it is given.
  velarn::LogbookData GetLogbook(bool& answer);
  // With answer false, 1:1 goes unanswered.
  void SetLogbook(const velarn::LogbookData& logbook, bool answer);
  // 4:A now, and again at every later connection.
  void ReportNetwork(uint8_t status, uint8_t extra);

  // 7:1 with the extended block, at once and then every interval.
  void StartGps(unsigned intervalMs);
  void StopGps();
  void SendGpsFix();

  void SetSilent(bool silent);
  void SetLoss(unsigned percent);
  void SetDelay(unsigned milliseconds);
  void Connect();
  void Disconnect();
  // The unit restarts: its link ends without a word; with keepSession its
  // transport state comes back as from its context file, otherwise it begins
  // with no session. Then it opens the link again. Its threads and socket
  // restart too, so that nothing on its way to the unit before the restart
  // reaches it after. Throws the socket's IOException if the unit's address
  // can't be bound again (the unit then stays down; a later Restart tries
  // again).
  void Restart(bool keepSession);
  // One "state ..." line.
  void PrintState();

 private:
  void OnConnected(bool newSession) override;
  void OnInterrupted() override;
  void OnReceived(const common::Buffer& payload) override;

  // Sends one PDU and prints its report, noting when the link is down.
  void Send(unsigned flags, const common::Buffer& pdu, const PduReport& report);
  // Prints the report of a PDU received.
  void Report(const PduReport& report);
  void AnswerParam(const std::string& name);
  void AnswerLogbook();
  void AnswerTableSize();
  void AnswerTableRows(unsigned first, unsigned last);
  // Adds the lines and the JSON of a server message to report; head begins
  // its line ("<- msg ").
  void DescribeMessage(const common::Buffer& message, const std::string& head, PduReport& report);
  void SendNetwork();
  void OnGpsTimer(common::Timer& timer);
  uint16_t Session();
  void SaveContext();
  bool IsConnected() const;
  // The timer, delay and receive threads and the socket. Stop them without
  // the mutex: each thread may be waiting for it.
  void StartThreads();
  void StopThreads();

  UnitSettings settings;
  UnitOutput& output;
  boost::recursive_mutex mutex;  // the stack's; guards everything below
  common::TimerMgr timers;
  std::unique_ptr<velarn::UDPLayer> raw;  // a new one at every restart
  std::unique_ptr<PcapWriter> capture;    // with pcapFile
  LossyFrameLayer frameLayer;
  velarn::TransportLayerImpl transport;
  common::Timer gpsTimer;
  UnitRoute route;
  unsigned gpsInterval = 1000;
  std::map<std::string, ParamValue> params;
  std::vector<velarn::StatusTableRow> table;
  velarn::LogbookData logbook;
  bool answerLogbook = true;
  bool networkKnown = false;
  uint8_t networkStatus = '0';
  uint8_t networkExtra = '0';
  bool started = false;  // the threads run
  common::Buffer pdu;
};

}  // namespace velarnctl

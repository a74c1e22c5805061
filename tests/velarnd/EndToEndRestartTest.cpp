// The daemon stops (SIGTERM) while messages for the office wait in the link's
// queue, and starts again: the unit resumes its session and gets the waiting
// messages under the sequence numbers they had, and the driver finds the
// active order again.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <regex>
#include <string>
#include <vector>

#include "common/Buffer.h"
#include "data/Database.h"
#include "quorlan/Message.h"
#include "velarn/ContextFile.h"
#include "velarn/TransportLayerContext.h"
#include "velarn/pdu/PDU.h"
#include "velarnctl/UnitMessageText.h"
#include "velarnd/EndToEndRig.h"

namespace {

using namespace std::chrono_literals;

const char kUnitStart[] = R"(param ZUK {"id": "ConfigurationInMsg", "nodes": {"2": true}}
table 1=Free 31=Loaded
wait "link connected" 30
wait DriverIdChangedOutMsg 15
send {"id": "NewOrderInMsg", "nodes": {"1": 3001, "2": "R1", "3": 1, "4": "Bring the spare wheel", "5": 7, "7": false}}
wait "orderId=3001 .*workflowCode=101"
wait "orderId=3001 .*workflowCode=102" 15
link down
)";

const char kNavStart[] = R"(wait ^COrderReceivedEvent Order_\.Id=3001\b 30
markread 3001
wait ^COrderModifiedEvent Order_\.Id=3001 .*State=3
)";

// The driver goes on while the unit is out of reach: all of it is for the
// office, and waits.
const char kNavOffline[] = R"(start 3001
wait ^COrderModifiedEvent Order_\.Id=3001 .*State=9
active 3001 4
wait ^COrderModifiedEvent Order_\.Id=3001 .*\.AS=4\b
text Stuck in traffic
wait ^CAcknowledge
status 1 delayed
wait ^CAcknowledge
echo offline done
)";

// Once the daemon has noticed the silence, one more.
const char kNavNoticed[] = R"(text Still stuck
wait ^CAcknowledge
echo noticed done
)";

// Meanwhile the office writes to the driver; the unit keeps the message.
const char kUnitOffline[] =
    R"(send {"id": "NewTextMessageInMsg", "nodes": {"1": 31, "2": "Call me when you can"}}
)";

const char kUnitBack[] = R"(link up
wait "link connected session=0x[0-9a-f]+ resumed" 20
wait "text=\"Still stuck\"" 15
wait "messageId=31 workflowCode=101" 15
wait "orderId=3001 .*workflowCode=401" 15
echo unit done
)";

const char kNavBack[] = R"(wait ^CTextMessageReceivedEvent Msg_\.Id=31\b 30
complete 3001
wait ^COrderModifiedEvent Order_\.Id=3001 .*State=8
echo nav done
)";

// The server message inside a queued PDU 4:7, as velarnctl unit prints it.
std::string QueuedMessageLine(const velarn::Packet& packet) {
  velarn::PDU pdu(0);
  pdu.Parse(packet.data);
  if (pdu.id != 0x0407) {
    return "pdu " + std::to_string(pdu.id);
  }
  for (const velarn::PDU::Parameter& option : pdu.parameters) {
    if (option.id == 1) {
      common::Buffer bytes(option.size, 200);
      bytes.Append(option.data, option.size);
      quorlan::Message message;
      message.Parse(bytes);
      return "<- msg " + velarnctl::MessageLine(message);
    }
  }
  return "pdu 4:7 without a message";
}

// The unit's transcript: the server messages both ways, and the data frames
// that carried the messages from the context file, their numbers counted
// from the first one's (K). A repeat of a frame, which the timing of the acks
// may bring, is left out, and so is the link's age in the events: whether the
// daemon had noticed the silence at an action depends on the timing too.
std::vector<std::string> UnitTranscript(const std::vector<std::string>& lines, unsigned first, size_t count) {
  static const std::regex frame("^frame <- data seq=([0-9]+) pdu=4:7$");
  static const std::regex message("^(<-|->) msg ");
  std::vector<e2e::Mask> masks = e2e::UnitMasks();
  masks.push_back({std::regex("\\blinkAge=[0-9]+"), "linkAge=N"});
  std::vector<std::string> transcript;
  int previous = -1;
  for (const std::string& line : lines) {
    std::smatch match;
    if (std::regex_match(line, match, frame)) {
      const int sequence = std::stoi(match[1]);
      const unsigned offset = (static_cast<unsigned>(sequence) - first) & 0xFF;
      if (offset < count && sequence != previous) {
        transcript.push_back("frame <- data seq=K" + (offset == 0 ? "" : "+" + std::to_string(offset)) +
                             " pdu=4:7");
      }
      previous = sequence;
    } else if (std::regex_search(line, message)) {
      transcript.push_back(e2e::Transcript({line}, message, masks).front());
    }
  }
  return transcript;
}

class EndToEndRestartTest : public e2e::ScenarioTest {};

TEST_F(EndToEndRestartTest, QueuedMessagesSurviveARestartAndKeepTheirSequenceNumbers) {
  service.StartDaemon();
  e2e::Party& unit = service.StartUnit({"--frames"});
  unit.Input(kUnitStart);
  e2e::Party& nav1 = service.StartNav({"--stay"});
  nav1.Input(kNavStart);
  ASSERT_TRUE(unit.Expect("^link down: silent", 30s));
  const std::string connected = unit.Find("^link connected session=0x[0-9a-f]+ new$");
  ASSERT_NE("", connected);
  const std::string session = connected.substr(connected.find("0x"), 6);

  // Most likely the daemon still thinks the link is up for the first of
  // these, and sends it into the silence; the others wait behind it.
  nav1.Input(kNavOffline);
  ASSERT_TRUE(nav1.Expect("^# offline done$", 15s));
  // Both sides notice the silence.
  ASSERT_TRUE(nav1.WaitFor("^<- CConnectionStateEvent Connected=false$", 10s));
  nav1.Input(kNavNoticed);
  nav1.CloseInput();
  ASSERT_TRUE(nav1.Expect("^# noticed done$", 15s));
  ASSERT_TRUE(unit.Expect("^link interrupted$", 10s));
  unit.Input(kUnitOffline);
  ASSERT_TRUE(unit.Expect("^-> msg 0x0404 NewTextMessageInMsg", 5s));

  // SIGTERM with the navigation application attached: it sees the daemon go.
  ASSERT_TRUE(service.StopDaemon());
  int status = 0;
  ASSERT_TRUE(nav1.Finish(10s, status));
  EXPECT_EQ(1, e2e::ExitCode(status));

  // The context holds the session and the five messages for the office,
  // head first; the database the active order in its sub-state.
  std::unique_ptr<velarn::ATransportLayerContext> stored(velarn::ReadContextFile(service.ContextFile()));
  const auto* context = dynamic_cast<const velarn::TransportLayerContext*>(stored.get());
  ASSERT_NE(nullptr, context);
  EXPECT_EQ(session, e2e::SessionText(context->sessionId));
  std::vector<std::string> queued;
  for (const velarn::Packet& packet : context->packets) {
    EXPECT_EQ(velarn::Packet::kKeepForSession, packet.flags);
    queued.push_back(QueuedMessageLine(packet));
  }
  ASSERT_EQ(5u, queued.size());
  const unsigned first = context->txSequence;
  {
    data::Database database(service.DatabaseFile());
    ASSERT_TRUE(database.Load());
    const auto order = database.orders.find(3001);
    ASSERT_NE(database.orders.end(), order);
    EXPECT_EQ(data::Order::StateActive, order->second.state);
    EXPECT_EQ(4u, order->second.activeState);
  }

  // A frame that the silence swallowed carried the head of the queue, under
  // the number that the context kept.
  for (const std::string& line : unit.Lines()) {
    std::smatch match;
    if (std::regex_match(line, match, std::regex("^frame <- data seq=([0-9]+) pdu=4:7 silent$"))) {
      EXPECT_EQ(first, std::stoul(match[1])) << line;
    }
  }

  service.StartDaemon();
  e2e::Party& nav2 = service.StartNav();
  nav2.Input(kNavBack);
  unit.Input(kUnitBack);
  ASSERT_TRUE(unit.Expect("^unit done$", 40s));
  ASSERT_TRUE(nav2.Expect("^# nav done$", 10s));
  // Only now: the link to the unit closes when the application goes away,
  // and what the unit has yet to receive would wait for the next one.
  ASSERT_TRUE(e2e::EndNav(nav2));
  ASSERT_TRUE(service.StopUnit());
  ASSERT_TRUE(service.StopDaemon());

  // The session went on, and the unit received what the context held.
  const std::vector<std::string> lines = unit.Lines();
  std::string lastConnected;
  for (const std::string& line : lines) {
    if (line.compare(0, 15, "link connected ") == 0) {
      lastConnected = line;
    }
  }
  EXPECT_EQ("link connected session=" + session + " resumed", lastConnected);
  std::vector<std::string> received;
  for (const std::string& line : lines) {
    if (line.compare(0, 7, "<- msg ") == 0 && std::find(queued.begin(), queued.end(), line) != queued.end()) {
      received.push_back(line);
    }
  }
  EXPECT_EQ(queued, received);

  EXPECT_TRUE(e2e::MatchesScenarioFile("restart-unit.txt", UnitTranscript(lines, first, queued.size())));
  EXPECT_TRUE(e2e::MatchesScenarioFile("restart-nav-before.txt",
                                       e2e::Transcript(nav1.Lines(), e2e::NavStory(), e2e::NavMasks())));
  EXPECT_TRUE(e2e::MatchesScenarioFile("restart-nav-after.txt",
                                       e2e::Transcript(nav2.Lines(), e2e::NavStory(), e2e::NavMasks())));

  data::Database database(service.DatabaseFile());
  ASSERT_TRUE(database.Load());
  const auto order = database.orders.find(3001);
  ASSERT_NE(database.orders.end(), order);
  EXPECT_EQ(data::Order::StateCompleted, order->second.state);
  const auto message = database.textMessages.find(31);
  ASSERT_NE(database.textMessages.end(), message);
  EXPECT_FALSE(message->second.read);
}

}  // namespace

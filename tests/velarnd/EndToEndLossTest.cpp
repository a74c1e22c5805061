// The link to the unit loses 30 % of the datagrams in each direction: every
// message for either side still arrives, in order and once, through the
// transport's repetitions and resumed sessions.
#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <vector>

#include "velarnd/EndToEndRig.h"

namespace {

using namespace std::chrono_literals;

// The office's messages are given before the link is up: they wait in the
// unit and go out one by one once it is.
const char kUnitInput[] = R"(param ZUK {"id": "ConfigurationInMsg", "nodes": {"2": true}}
send {"id": "NewTextMessageInMsg", "nodes": {"1": 101, "2": "First"}}
send {"id": "NewTextMessageInMsg", "nodes": {"1": 102, "2": "Second"}}
send {"id": "NewTextMessageInMsg", "nodes": {"1": 103, "2": "Third"}}
send {"id": "NewOrderInMsg", "nodes": {"1": 5001, "2": "L1", "3": 1, "4": "Load at gate 4", "5": 1, "7": false}}
send {"id": "NewTextMessageInMsg", "nodes": {"1": 104, "2": "Fourth"}}
send {"id": "NewOrderInMsg", "nodes": {"1": 5002, "2": "L2", "3": 1, "4": "Unload at gate 9", "5": 1, "7": true}}
wait "orderId=5002 .*workflowCode=101" 60
wait "orderId=5002 .*workflowCode=102" 60
echo unit done
)";

const char kNavInput[] = R"(wait ^COrderReceivedEvent Order_\.Id=5002\b 60
markreadmsg 101
wait ^CTextMessageModifiedEvent Msg_\.Id=101\b
markreadmsg 102
wait ^CTextMessageModifiedEvent Msg_\.Id=102\b
markreadmsg 103
wait ^CTextMessageModifiedEvent Msg_\.Id=103\b
markreadmsg 104
wait ^CTextMessageModifiedEvent Msg_\.Id=104\b
markread 5001
wait ^COrderModifiedEvent Order_\.Id=5001\b
markread 5002
wait ^COrderModifiedEvent Order_\.Id=5002\b
echo nav done
)";

// What matters at each side: the entries and their workflow events, each
// reduced to its kind, id and code. The headers of the events vary with the
// moment the logbook and the configuration got through.
const std::regex kNavEntries("^<- C(Order|TextMessage)(Received|Modified)Event ");
const std::vector<e2e::Mask> kNavMasks = {
    {std::regex("^<- (\\w+) (Order_|Msg_)\\.Id=([0-9]+) .*$"), "$1 $3"}};
const std::regex kWorkflowEvents("^<- msg 0x05(03|08) ");
const std::vector<e2e::Mask> kUnitMasks = {
    {std::regex("^<- msg 0x[0-9a-f]+ (\\w+) .*((orderId|messageId)=[0-9]+).* (workflowCode=[0-9]+)$"),
     "$1 $2 $4"}};

class EndToEndLossTest : public e2e::ScenarioTest {};

TEST_F(EndToEndLossTest, EveryMessageArrivesOnceThroughALossyLink) {
  service.StartDaemon();
  e2e::Party& unit = service.StartUnit({"--loss", "30", "--seed", "11", "--frames"});
  unit.Input(kUnitInput);
  e2e::Party& nav = service.StartNav();
  nav.Input(kNavInput);

  ASSERT_TRUE(nav.Expect("^# nav done$", 90s));
  ASSERT_TRUE(unit.Expect("^unit done$", 60s));
  ASSERT_TRUE(e2e::EndNav(nav));
  ASSERT_TRUE(service.StopUnit());
  ASSERT_TRUE(service.StopDaemon());

  EXPECT_TRUE(e2e::MatchesScenarioFile("loss-nav.txt", e2e::Transcript(nav.Lines(), kNavEntries, kNavMasks)));
  EXPECT_TRUE(
      e2e::MatchesScenarioFile("loss-unit.txt", e2e::Transcript(unit.Lines(), kWorkflowEvents, kUnitMasks)));

  // The loss was real, in both directions, and the transport made up for it.
  const std::vector<std::string> lines = unit.Lines();
  EXPECT_FALSE(e2e::Transcript(lines, std::regex("^frame <- data .* lost$")).empty());
  EXPECT_FALSE(e2e::Transcript(lines, std::regex("^frame -> data .* lost$")).empty());
}

}  // namespace

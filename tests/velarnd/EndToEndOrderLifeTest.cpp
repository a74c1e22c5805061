// The whole service with both simulators: orders from the office through the
// unit to the driver and back, text messages both ways and statuses. The
// transcripts of both simulators are compared with scenarios/order-life-*.
#include <gtest/gtest.h>

#include <memory>
#include <regex>
#include <string>

#include "data/Database.h"
#include "velarn/ContextFile.h"
#include "velarn/TransportLayerContext.h"
#include "velarnd/EndToEndRig.h"

namespace {

using namespace std::chrono_literals;

// What the unit and the office do. The configuration switches the logbook and
// the arrival reports on and asks for a report of old entries at the first
// configuration of a session; the table holds two statuses and two order
// statuses. The office sends its entries only once that configuration has
// been applied, so that every event header is alike.
const char kUnitInput[] = R"(param ZUK {"id": "ConfigurationInMsg", "nodes": {"2": true, "6": true, "11": 1}}
table 1=Free "2=On the way" 31=Loaded "32=Unloaded"
network home
wait "link connected" 30
wait DriverIdChangedOutMsg 15
send {"id": "NewOrderInMsg", "nodes": {"1": 1001, "2": "A1", "3": 1, "4": "Deliver two pallets", "5": 31, "6": {"1": 48137154, "2": 11576124, "3": "Marienplatz"}, "7": true}}
wait "orderId=1001 .*workflowCode=101"
send {"id": "NewOrderInMsg", "nodes": {"1": 1002, "2": "A2", "3": 2, "4": "Fetch the crates", "5": 0, "7": true}}
wait "orderId=1002 .*workflowCode=101"
send {"id": "NewOrderInMsg", "nodes": {"1": 1003, "2": "A3", "3": 0, "4": "Empty run", "5": 1, "7": false}}
wait "orderId=1003 .*workflowCode=101"
send {"id": "NewTextMessageInMsg", "nodes": {"1": 7, "2": "Please call the office"}}
wait "messageId=7 workflowCode=101"
wait "orderId=1001 .*workflowCode=103" 20
send {"id": "UpdateOrderInMsg", "nodes": {"1": 1001, "4": "Deliver three pallets"}}
wait "0x0501 StatusEventOutMsg .*statusId=2" 30
echo unit done
)";

// What the driver does, each step after the daemon's last answer to the one
// before, so that the transcript has one order.
const char kNavInput[] = R"(wait ^CTextMessageReceivedEvent Msg_\.Id=7\b 30
markread 1001
wait ^COrderModifiedEvent Order_.Id=1001 .*State=2 .*Remote=false
accept 1001
wait ^COrderModifiedEvent Order_.Id=1001 .*State=4 .*Remote=false
wait ^COrderModifiedEvent Order_.Id=1001 .*Remote=true 20
start 1001
wait ^COrderModifiedEvent Order_.Id=1001 .*State=9 .*Remote=false
navstate 2 1795420000 5000 4813715 1157612
active 1001 2
wait ^COrderModifiedEvent Order_.Id=1001 .*\.AS=2\b
active 1001 16
wait ^COrderModifiedEvent Order_.Id=1001 .*\.AS=16\b
active 1001 32
wait ^CAcknowledge .*Error=2
suspend 1001
wait ^COrderModifiedEvent Order_.Id=1001 .*State=7
resume 1001
wait ^COrderModifiedEvent Order_.Id=1001 .*State=9
orderstatus 1001 1 pallets unloaded
wait ^CAcknowledge
complete 1001
wait ^COrderModifiedEvent Order_.Id=1001 .*State=8
navstate 2 1795420300 200 4813715 1157612
markread 1002
wait ^COrderModifiedEvent Order_.Id=1002 .*State=2
reject 1002 too far away
wait ^COrderModifiedEvent Order_.Id=1002 .*State=6
markread 1003
wait ^COrderModifiedEvent Order_.Id=1003 .*State=3
cancel 1003 vehicle broke down
wait ^COrderModifiedEvent Order_.Id=1003 .*State=5
markreadmsg 7
wait ^CTextMessageModifiedEvent Msg_.Id=7 .*Read=true
text On my way to the depot
wait ^CAcknowledge
statuslist 2
wait ^CStatusInfoEvent Status_.Id=2
statuslist 1
wait ^CStatusInfoEvent Status_.Id=2
status 2 at the depot
wait ^CAcknowledge
allitems
wait ^COrderInfoEvent Order_.Id=1001
delete 1001
wait ^COrderDeletedEvent
delete 1002
wait ^COrderDeletedEvent
deletemsg 7
wait ^CTextMessageDeletedEvent
allitems
wait ^COrderInfoEvent Order_.Id=1003
echo nav done
)";

class EndToEndOrderLifeTest : public e2e::ScenarioTest {};

TEST_F(EndToEndOrderLifeTest, OrdersTextMessagesAndStatusesReachEveryPartyInOrder) {
  service.StartDaemon();
  e2e::Party& unit = service.StartUnit({});
  unit.Input(kUnitInput);
  e2e::Party& nav = service.StartNav();
  nav.Input(kNavInput);

  ASSERT_TRUE(nav.Expect("^# nav done$", 60s));
  ASSERT_TRUE(unit.Expect("^unit done$", 10s));
  // Only now: the link to the unit closes when the application goes away,
  // and the last events might not have reached the unit before.
  const std::string connected = unit.Find("^link connected session=0x[0-9a-f]+ new$");
  ASSERT_NE("", connected);
  ASSERT_TRUE(e2e::EndNav(nav));
  ASSERT_TRUE(service.StopUnit());
  ASSERT_TRUE(service.StopDaemon());

  EXPECT_TRUE(e2e::MatchesScenarioFile("order-life-nav.txt",
                                       e2e::Transcript(nav.Lines(), e2e::NavStory(), e2e::NavMasks())));
  EXPECT_TRUE(e2e::MatchesScenarioFile(
      "order-life-unit.txt", e2e::Transcript(unit.Lines(), e2e::ServerMessages(), e2e::UnitMasks())));

  // The files after SIGTERM: the database holds what is left of the inbox,
  // the context the unit's session with nothing waiting.
  data::Database database(service.DatabaseFile());
  ASSERT_TRUE(database.Load());
  ASSERT_EQ(1u, database.orders.size());
  const auto order = database.orders.find(1003);
  ASSERT_NE(database.orders.end(), order);
  EXPECT_EQ(data::Order::StateCancelled, order->second.state);
  EXPECT_EQ(0u, database.textMessages.size());
  EXPECT_EQ(2u, database.statuses.size());
  EXPECT_EQ(2u, database.orderStatuses.size());
  EXPECT_TRUE(database.config.configured);

  std::unique_ptr<velarn::ATransportLayerContext> stored(velarn::ReadContextFile(service.ContextFile()));
  const auto* context = dynamic_cast<const velarn::TransportLayerContext*>(stored.get());
  ASSERT_NE(nullptr, context);
  EXPECT_EQ(connected.substr(connected.find("0x"), 6), e2e::SessionText(context->sessionId));
  EXPECT_TRUE(context->packets.empty());
}

}  // namespace

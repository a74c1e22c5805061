// The navigation application goes away and comes back: the daemon closes the
// link to the unit while it is away, sends the unread entries again after the
// next handshake, and only then lets the unit open the link again.
#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <vector>

#include "data/Database.h"
#include "velarnd/EndToEndRig.h"

namespace {

using namespace std::chrono_literals;

const char kUnitStart[] = R"(param ZUK {"id": "ConfigurationInMsg", "nodes": {"2": true}}
wait "link connected" 30
wait DriverIdChangedOutMsg 15
send {"id": "NewOrderInMsg", "nodes": {"1": 2001, "2": "N1", "3": 1, "4": "Pick up the parcel", "5": 1, "7": false}}
wait "orderId=2001 .*workflowCode=101"
send {"id": "NewOrderInMsg", "nodes": {"1": 2002, "2": "N2", "3": 1, "4": "Drop the parcel", "5": 1, "7": true}}
wait "orderId=2002 .*workflowCode=101"
send {"id": "NewTextMessageInMsg", "nodes": {"1": 21, "2": "Parcel is fragile"}}
wait "messageId=21 workflowCode=101"
)";

// The driver reads one order of three entries, then the application ends.
const char kNavFirst[] = R"(wait ^CTextMessageReceivedEvent Msg_\.Id=21\b 30
markread 2001
wait ^COrderModifiedEvent Order_\.Id=2001 .*State=3
echo leaving
)";

// While no application is attached the office sends one more order; the unit
// keeps it until the link opens again.
const char kUnitAway[] =
    R"(send {"id": "NewOrderInMsg", "nodes": {"1": 2003, "2": "N3", "3": 1, "4": "Return the empties", "5": 1, "7": false}}
)";

const char kNavSecond[] = R"(wait ^COrderReceivedEvent Order_\.Id=2003\b 30
markreadmsg 21
wait ^CTextMessageModifiedEvent Msg_\.Id=21 .*Read=true
echo nav done
)";

const char kUnitBack[] = R"(wait "link connected session=0x[0-9a-f]+ resumed" 20
wait "orderId=2003 .*workflowCode=101" 15
wait "messageId=21 workflowCode=102" 15
echo unit done
)";

class EndToEndNavigationAwayTest : public e2e::ScenarioTest {};

TEST_F(EndToEndNavigationAwayTest, LinkClosesWhileAwayAndUnreadEntriesComeAgain) {
  service.StartDaemon();
  e2e::Party& unit = service.StartUnit({"--frames"});
  unit.Input(kUnitStart);
  e2e::Party& nav1 = service.StartNav();
  nav1.Input(kNavFirst);
  ASSERT_TRUE(nav1.Expect("^# leaving$", 30s));
  ASSERT_TRUE(unit.Expect("orderId=2001 .*workflowCode=102", 10s));
  const std::string connected = unit.Find("^link connected session=0x[0-9a-f]+ new$");
  ASSERT_NE("", connected);
  const std::string session = connected.substr(connected.find("0x"), 6);

  ASSERT_TRUE(e2e::EndNav(nav1));

  // The unit hears nothing more and loses the link; from then on the daemon
  // refuses its connect requests with resets, for as long as nobody is
  // attached.
  ASSERT_TRUE(unit.Expect("^link interrupted$", 10s));
  unit.Input(kUnitAway);
  ASSERT_TRUE(unit.Expect("^-> msg 0x0401 NewOrderInMsg orderId=2003 ", 5s));
  ASSERT_TRUE(unit.Expect("^frame <- reset$", 10s));
  ASSERT_TRUE(unit.Expect("^frame <- reset$", 10s));
  ASSERT_TRUE(unit.Expect("^frame <- reset$", 10s));
  EXPECT_EQ("", unit.Find(" resumed$"));

  e2e::Party& nav2 = service.StartNav();
  nav2.Input(kNavSecond);
  unit.Input(kUnitBack);
  ASSERT_TRUE(unit.Expect("^unit done$", 40s));
  ASSERT_TRUE(nav2.Expect("^# nav done$", 10s));
  ASSERT_TRUE(e2e::EndNav(nav2));
  ASSERT_TRUE(service.StopUnit());
  ASSERT_TRUE(service.StopDaemon());

  // The same session went on once the application was back.
  std::string lastConnected;
  for (const std::string& line : unit.Lines()) {
    if (line.compare(0, 15, "link connected ") == 0) {
      lastConnected = line;
    }
  }
  EXPECT_EQ("link connected session=" + session + " resumed", lastConnected);

  EXPECT_TRUE(e2e::MatchesScenarioFile("navigation-away-nav-first.txt",
                                       e2e::Transcript(nav1.Lines(), e2e::NavStory(), e2e::NavMasks())));
  EXPECT_TRUE(e2e::MatchesScenarioFile("navigation-away-nav-second.txt",
                                       e2e::Transcript(nav2.Lines(), e2e::NavStory(), e2e::NavMasks())));
  EXPECT_TRUE(e2e::MatchesScenarioFile(
      "navigation-away-unit.txt", e2e::Transcript(unit.Lines(), e2e::ServerMessages(), e2e::UnitMasks())));

  data::Database database(service.DatabaseFile());
  ASSERT_TRUE(database.Load());
  EXPECT_EQ(3u, database.orders.size());
  const auto message = database.textMessages.find(21);
  ASSERT_NE(database.textMessages.end(), message);
  EXPECT_TRUE(message->second.read);
}

}  // namespace

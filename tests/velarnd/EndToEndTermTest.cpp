// SIGTERM in the middle of work: the unit link up with fixes flowing into the
// GPS pipe, an order active, the navigation application attached. The
// service ends with status 0 within a generous bound, and leaves both files
// whole: the database and the context load, and nothing half-written stays.
#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <regex>
#include <string>
#include <vector>

#include "data/Database.h"
#include "support/Process.h"
#include "velarn/ContextFile.h"
#include "velarn/TransportLayerContext.h"
#include "velarnd/EndToEndRig.h"

namespace {

using namespace std::chrono_literals;

const char kUnitInput[] = R"(param ZUK {"id": "ConfigurationInMsg", "nodes": {"2": true, "6": true}}
table 3=Waiting 33=Delivered
wait "link connected" 30
wait DriverIdChangedOutMsg 15
send {"id": "NewOrderInMsg", "nodes": {"1": 6001, "2": "T1", "3": 1, "4": "Last run of the day", "5": 3, "6": {"1": 48140000, "2": 11560000, "3": "Depot"}, "7": false}}
send {"id": "NewTextMessageInMsg", "nodes": {"1": 61, "2": "Drive safely"}}
wait "messageId=61 workflowCode=101" 15
gps start 100
)";

const char kNavInput[] = R"(wait ^CTextMessageReceivedEvent Msg_\.Id=61\b 30
markread 6001
wait ^COrderModifiedEvent Order_\.Id=6001 .*State=3
start 6001
wait ^COrderModifiedEvent Order_\.Id=6001 .*State=9
echo working
)";

// Reads what the daemon wrote into the named pipe until every kind of
// sentence has come, at most for timeout.
std::string ReadNmea(const std::string& path, std::chrono::milliseconds timeout) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK);
  if (fd < 0) {
    return "";
  }
  std::string text;
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  const std::regex complete("\\$GPRMC,[^\\n]*\\n[\\s\\S]*\\$GPGSA,[^\\n]*\\n[\\s\\S]*\\$GPGSV,[^\\n]*\\n");
  while (!std::regex_search(text, complete) && std::chrono::steady_clock::now() < deadline) {
    pollfd p = {fd, POLLIN, 0};
    if (::poll(&p, 1, 50) > 0) {
      char chunk[4096];
      const ssize_t n = ::read(fd, chunk, sizeof(chunk));
      if (n > 0) {
        text.append(chunk, static_cast<size_t>(n));
      }
    }
  }
  ::close(fd);
  return text;
}

std::vector<std::string> FolderEntries(const std::string& path) {
  std::vector<std::string> names;
  DIR* dir = ::opendir(path.c_str());
  if (dir == nullptr) {
    return names;
  }
  while (const dirent* entry = ::readdir(dir)) {
    const std::string name = entry->d_name;
    if (name != "." && name != "..") {
      names.push_back(name);
    }
  }
  ::closedir(dir);
  return names;
}

class EndToEndTermTest : public e2e::ScenarioTest {};

TEST_F(EndToEndTermTest, TermWhileBusyEndsWithStatusZeroAndWholeFiles) {
  service.StartDaemon(true);
  e2e::Party& unit = service.StartUnit({});
  unit.Input(kUnitInput);
  e2e::Party& nav = service.StartNav({"--stay"});
  nav.Input(kNavInput);
  nav.CloseInput();
  ASSERT_TRUE(nav.Expect("^# working$", 30s));
  ASSERT_TRUE(nav.WaitFor("^<- CGPSFeedEvent Enabled=true$", 10s));
  ASSERT_TRUE(unit.Expect("^gps every 100 ms$", 10s));
  const std::string connected = unit.Find("^link connected session=0x[0-9a-f]+ new$");
  ASSERT_NE("", connected);

  // The unit's fixes come out of the pipe as sentences, at the route's place
  // (48.13 to 48.14 degrees north, 11.56 to 11.58 east: 48 deg 07.8 to 08.4
  // min, 11 deg 33.6 to 34.8 min).
  const std::string nmea = ReadNmea(service.GpsPipe(), 10s);
  EXPECT_TRUE(std::regex_search(
      nmea, std::regex("(^|\\n)\\$GPRMC,[0-9]{6},A,480[78]\\.[0-9]{4},N,0113[345]\\.[0-9]{4},E,")))
      << nmea;
  EXPECT_TRUE(std::regex_search(nmea, std::regex("(^|\\n)\\$GPGSA,A,3,"))) << nmea;
  EXPECT_TRUE(std::regex_search(nmea, std::regex("(^|\\n)\\$GPGSV,"))) << nmea;

  // One more fix or two on the way while the signal comes.
  ASSERT_TRUE(unit.Expect("^-> pdu 7:1 ", 5s));
  ASSERT_TRUE(service.StopDaemon());
  int status = 0;
  ASSERT_TRUE(nav.Finish(10s, status));
  EXPECT_EQ(1, e2e::ExitCode(status)) << "the application should have seen the daemon go";
  ASSERT_TRUE(service.StopUnit());

  // Nothing half-written is left beside the files.
  for (const std::string& name : FolderEntries(service.Dir().Path())) {
    EXPECT_EQ(std::string::npos, name.find(".tmp")) << name;
  }

  data::Database database(service.DatabaseFile());
  ASSERT_TRUE(database.Load());
  const auto order = database.orders.find(6001);
  ASSERT_NE(database.orders.end(), order);
  EXPECT_EQ(data::Order::StateActive, order->second.state);
  const auto message = database.textMessages.find(61);
  ASSERT_NE(database.textMessages.end(), message);
  EXPECT_FALSE(message->second.read);
  ASSERT_EQ(1u, database.statuses.size());
  EXPECT_EQ("Waiting", database.statuses.begin()->second.text);
  ASSERT_EQ(1u, database.orderStatuses.size());
  EXPECT_EQ("Delivered", database.orderStatuses.begin()->second.text);
  EXPECT_TRUE(database.config.configured);
  EXPECT_TRUE(database.config.etaEnabled);
  EXPECT_TRUE(database.velarn.gpsFeedEnabled);
  // The last fix of the unit: live, or last known if the link's end came
  // first; either way on the route.
  EXPECT_TRUE(database.velarn.gps.status == 'A' || database.velarn.gps.status == 'L')
      << database.velarn.gps.status;
  EXPECT_GT(database.velarn.gps.position.latitude, 48100000);
  EXPECT_LT(database.velarn.gps.position.latitude, 48200000);
  EXPECT_EQ(1234500u, database.velarn.odometer);

  // The tool reads the same file.
  const testsupport::RunResult dump =
      testsupport::Run({VELARNCTL_BINARY, "db", "dump", service.DatabaseFile()}, 10s);
  ASSERT_TRUE(dump.finished);
  EXPECT_EQ(0, e2e::ExitCode(dump.status)) << dump.output;
  EXPECT_NE(std::string::npos, dump.output.find("order 6001")) << dump.output;
  EXPECT_NE(std::string::npos, dump.output.find("\"Drive safely\"")) << dump.output;

  std::unique_ptr<velarn::ATransportLayerContext> stored(velarn::ReadContextFile(service.ContextFile()));
  const auto* context = dynamic_cast<const velarn::TransportLayerContext*>(stored.get());
  ASSERT_NE(nullptr, context);
  EXPECT_EQ(connected.substr(connected.find("0x"), 6), e2e::SessionText(context->sessionId));
  // Only messages for the office outlive the process; the link's own PDUs
  // don't.
  for (const velarn::Packet& packet : context->packets) {
    EXPECT_NE(0u, packet.flags & (velarn::Packet::kKeepForSession | velarn::Packet::kKeepAlways));
  }
}

}  // namespace

#include <sys/wait.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "NavFakeDaemon.h"
#include "Velarnctl.h"
#include "bkcom/Events.h"
#include "bkcom/MessageCatalogue.h"
#include "bkcom/Text.h"
#include "support/Process.h"
#include "support/TempDir.h"

namespace {

using namespace std::chrono_literals;
using clitest::HasAll;
using testsupport::ChildProcess;

class NavCommandTest : public ::testing::Test {
 protected:
  // Starts velarnctl nav on the daemon's socket with the further arguments.
  std::unique_ptr<ChildProcess> StartNav(const std::vector<std::string>& args = {}) {
    std::vector<std::string> argv = {VELARNCTL_BINARY, "nav", address, "--raw"};
    argv.insert(argv.end(), args.begin(), args.end());
    ChildProcess::Options options;
    options.captureInput = true;
    return std::unique_ptr<ChildProcess>(new ChildProcess(argv, options));
  }

  // Waits for the end of the tool; its exit status, -1 if it didn't end.
  static int ExitStatus(ChildProcess& nav) {
    int status = 0;
    if (!nav.Wait(20s, status)) {
      return -1;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  testsupport::TempDir dir;
  const std::string address = dir.File("nav.sock");
  navtest::FakeDaemon daemon{address};
};

// The handshake is answered with the options' values, and every action line
// reaches the daemon as its class with the fields the line gave.
TEST_F(NavCommandTest, AnswersTheHandshakeAndSendsEveryAction) {
  daemon.Start();
  std::unique_ptr<ChildProcess> nav =
      StartNav({"-k", "30", "--nc-version", "nc-2", "--nc-build", "77", "--snr", "SN1"});
  // Each input line and what the daemon receives for it ("" for none).
  const std::vector<std::pair<std::string, std::string>> lines = {
      {"",
       "CBrenikInitVelarnAction ActionId=1 KAInterval=30 Version=1.0.5 NCVersion=nc-2 NCBuild=77 SNR=SN1"},
      {"accept 1001", "CAcceptOrderAction ActionId=2 OrderId=1001"},
      {"wait ^CAcknowledge ActionId=2 Error=1$", ""},
      {"  # a comment, and an empty line", ""},
      {"", ""},
      {"reject 1001 too far", "CRejectOrderAction ActionId=3 OrderId=1001 Reason=too far"},
      {"status 3 on my way", "CSendStatusAction ActionId=4 StatusId=3 Text=on my way"},
      {"text hello  world ", "CSendTextMessageAction ActionId=5 Text=hello  world"},
      {"allitems", "CGetAllItemsAction ActionId=6"},
      {"ack 2 2", "CAcknowledge ActionId=2 Error=2"},
      {"features", "CGetFeaturesInfoAction ActionId=7"},
      {"wtstate", "CRequestWorkingTimeStateAction ActionId=8"},
      {"wt 4", "CChangeWorkingTimeStateAction ActionId=9 Action=4"},
      {"connstate", "CGetConnectionStateAction ActionId=10"},
      {"statuslist 2", "CGetStatusListAction ActionId=11 Type=2"},
      {"markread 1001", "CMarkReadOrderAction ActionId=12 OrderId=1001"},
      {"cancel 1002", "CCancelOrderAction ActionId=13 OrderId=1002 Reason="},
      {"start 1001", "CStartOrderAction ActionId=14 OrderId=1001"},
      {"suspend 1001", "CSuspendOrderAction ActionId=15 OrderId=1001"},
      {"resume 1001", "CResumeOrderAction ActionId=16 OrderId=1001"},
      {"complete 1001", "CCompleteOrderAction ActionId=17 OrderId=1001"},
      {"orderstatus 1001 7 arrived",
       "CSendStatusOrderAction ActionId=18 OrderId=1001 StatusId=7 Text=arrived"},
      {"active 1001 2", "CChangeActiveStateAction ActionId=19 OrderId=1001 NewActiveState=2"},
      {"delete 0x3e9", "CDeleteOrderAction ActionId=20 OrderId=1001"},
      {"markreadmsg 55", "CMarkReadTextMessageAction ActionId=21 MsgId=55"},
      {"deletemsg 56", "CDeleteTextMessageAction ActionId=22 MsgId=56"},
      {"logbook 3", "CChangeLogbookModeAction ActionId=23 NewMode=3"},
      {"driver 4711", "CSetDriverIdAction ActionId=24 DriverId=4711"},
      {"suspendlink", "CSuspendAction ActionId=25"},
      {"navstate 2 1700000000 4200 52.5 13.25 5250001 -1",
       "CNavigationStateEvent NavType=2 UDst_Lat=5250001 UDst_Long=-1 RDst_Lat=5250000 RDst_Long=1325000 "
       "ETA=1700000000 Dist=4200"},
      {"gps 5250000 -1340000 80 270 9 1700000100",
       "CGPSEvent Val=1 Lat=5250000 Long=-1340000 TS=1700000100 Speed=80 Course=270 Sat=9"},
      // nofix carries the time of the day: only the beginning is compared.
      {"nofix", "CGPSEvent Val=0 Lat=0 Long=0 TS="},
      {"raw 99 ActionId:uint32=5", ""},  // no class of id 99: dropped by the daemon
      {"raw 27 ActionId:uint32=700 OrderId:uint32=8", "CAcceptOrderAction ActionId=700 OrderId=8"},
      {"init 0.9",
       "CBrenikInitVelarnAction ActionId=26 KAInterval=30 Version=0.9 NCVersion=nc-2 NCBuild=77 SNR=SN1"},
      {"wait CAcknowledge ActionId=26 Error", ""},
  };
  std::string input;
  std::vector<std::string> expected;
  for (size_t i = 0; i < lines.size(); ++i) {
    input += i > 0 ? lines[i].first + "\n" : "";
    if (!lines[i].second.empty()) {
      expected.push_back(lines[i].second);
    }
  }
  nav->WriteInput(input);
  nav->CloseInput();
  EXPECT_EQ(0, ExitStatus(*nav)) << nav->Output();
  ASSERT_TRUE(daemon.WaitForReceived(expected.size())) << nav->Output();
  std::vector<std::string> received = daemon.Received();
  ASSERT_EQ(expected.size(), received.size()) << nav->Output();
  for (size_t i = 0; i < expected.size(); ++i) {
    const bool prefix = expected[i].compare(expected[i].size() - 3, 3, "TS=") == 0;
    EXPECT_EQ(expected[i], prefix ? received[i].substr(0, expected[i].size()) : received[i]);
  }

  // The tool's own lines: what it sent and what it got, one line each.
  EXPECT_TRUE(
      HasAll(nav->Output(),
             {"# connected to " + address + "\n",
              "<- CVelarnInitBrenikAction ActionId=2 Version=\"1.0.5\" NavStateUpdate=60\n",
              "-> CBrenikInitVelarnAction ActionId=1 KAInterval=30 Version=\"1.0.5\" NCVersion=\"nc-2\" "
              "NCBuild=\"77\" "
              "SNR=\"SN1\"\n",
              "-> CAcceptOrderAction ActionId=2 OrderId=1001\n", "<- CAcknowledge ActionId=2 Error=1\n",
              "-> CRejectOrderAction ActionId=3 OrderId=1001 Reason=\"too far\"\n",
              "-> CNavigationStateEvent NavType=2 UDst_.Lat=5250001 UDst_.Long=-1 RDst_.Lat=5250000 "
              "RDst_.Long=1325000 ETA=1700000000 Dist=4200\n",
              "-> ? MessageID=99 (raw ActionId:uint32=5)\n"}));
}

TEST_F(NavCommandTest, PrintsEveryReceivedMessageOnOneLine) {
  daemon.Start();
  std::unique_ptr<ChildProcess> nav = StartNav();
  ASSERT_TRUE(daemon.WaitForReceived(1));  // the handshake's answer

  COrderReceivedEvent order;
  order.order.id = 1001;
  order.order.sKey = 4;
  order.order.type = 1;
  order.order.state = 1;
  order.order.recvAt = 1700000000;
  order.order.dest.lat = 5250000;
  order.order.dest.lon = -1;
  bkcom::CopyText(order.order.num, "A-17");
  bkcom::CopyText(order.order.text, "say \"hi\"\\\nnext\tline\x01");
  daemon.Send(order);
  CGPSFeedEvent feed;
  feed.enabled = true;
  daemon.Send(feed);
  CKeepAliveEvent keepAlive;
  daemon.Send(keepAlive);

  ASSERT_TRUE(nav->WaitForOutput("<- CKeepAliveEvent\n", 10s)) << nav->Output();
  nav->CloseInput();
  EXPECT_EQ(0, ExitStatus(*nav));
  EXPECT_TRUE(
      HasAll(nav->Output(),
             {"<- COrderReceivedEvent Order_.Id=1001 Order_.SKey=4 Order_.Type=1 Order_.State=1 "
              "Order_.RecvAt=1700000000 Order_.LMT=0 Order_.AS=0 Order_.AAS=0 Order_.Dest_.Lat=5250000 "
              "Order_.Dest_.Long=-1 Order_.PA=0 Order_.Num=\"A-17\" "
              "Order_.Text=\"say \\\"hi\\\"\\\\\\nnext\\tline\\x01\" Order_.TN=\"\" "
              "Order_.DestDesc=\"\"\n",
              "<- CGPSFeedEvent Enabled=true\n"}));
}

TEST_F(NavCommandTest, BadLinesAreReportedAndAWaitThatRunsOutEndsTheScript) {
  daemon.Start();
  std::unique_ptr<ChildProcess> nav = StartNav();
  nav->WriteInput(
      "acept 1001\n"
      "accept x\n"
      "reject\n"
      "gps 200.5 1\n"
      "raw 27 OrderId=5\n"
      "wait\n"
      "echo still here\n"
      "wait NeverComes 0.3\n"
      "text not sent\n");
  EXPECT_EQ(3, ExitStatus(*nav));
  const std::string output = nav->Output();
  EXPECT_TRUE(
      HasAll(output, {"line 1: unknown action \"acept\"", "line 2: ORDER must be a number",
                      "line 3: missing ORDER; usage: reject ORDER [REASON...]",
                      "line 4: LAT must be degrees from -180 to 180", "line 5: a field is NAME:TYPE=VALUE",
                      "line 6: missing REGEX", "# still here\n", "# wait timed out: NeverComes\n"}));
  EXPECT_EQ(std::string::npos, output.find("CSendTextMessageAction")) << output;
  EXPECT_EQ(1u, daemon.Received().size());  // the handshake's answer alone

  // A bad line alone lets the script run to its end, with status 2.
  std::unique_ptr<ChildProcess> again = StartNav();
  again->WriteInput("nonsense\nallitems\n");
  again->CloseInput();
  EXPECT_EQ(2, ExitStatus(*again));
  EXPECT_TRUE(HasAll(again->Output(), {"-> CGetAllItemsAction"}));
}

TEST_F(NavCommandTest, EndsWithStatus1WhenTheDaemonGoesAway) {
  daemon.Start();
  std::unique_ptr<ChildProcess> nav = StartNav({"--stay"});
  nav->CloseInput();  // --stay: the end of the input doesn't end it
  ASSERT_TRUE(daemon.WaitForReceived(1));
  EXPECT_TRUE(nav->Running());
  daemon.Stop();
  EXPECT_EQ(1, ExitStatus(*nav));
  EXPECT_TRUE(HasAll(nav->Output(), {"# disconnected: "}));
}

TEST_F(NavCommandTest, WaitsForTheDaemonToListenOrGivesUp) {
  std::unique_ptr<ChildProcess> early = StartNav();
  std::unique_ptr<ChildProcess> impatient = StartNav({"--connect-timeout", "0.3"});
  EXPECT_EQ(1, ExitStatus(*impatient));
  EXPECT_TRUE(HasAll(impatient->Output(), {"velarnctl nav: can't connect to " + address}));

  EXPECT_TRUE(early->Running());
  daemon.Start();
  ASSERT_TRUE(daemon.WaitForReceived(1)) << early->Output();
  early->WriteInput("quit\ntext after quit\n");
  EXPECT_EQ(0, ExitStatus(*early));
  EXPECT_EQ(1u, daemon.Received().size());
}

TEST_F(NavCommandTest, ManualInitLeavesTheHandshakeToTheScript) {
  daemon.Start();
  std::unique_ptr<ChildProcess> nav = StartNav({"--manual-init", "--version", "2.0"});
  nav->WriteInput("wait CVelarnInitBrenikAction\nconnstate\ninit\nwait CAcknowledge ActionId=2\n");
  nav->CloseInput();
  EXPECT_EQ(0, ExitStatus(*nav)) << nav->Output();
  EXPECT_EQ(
      (std::vector<std::string>{
          "CGetConnectionStateAction ActionId=1",
          "CBrenikInitVelarnAction ActionId=2 KAInterval=0 Version=2.0 NCVersion=velarnctl NCBuild=1 SNR=0"}),
      daemon.Received());
}

TEST_F(NavCommandTest, HelpListsEveryAction) {
  const testsupport::RunResult help = testsupport::Run({VELARNCTL_BINARY, "nav", "--help"}, 10s);
  ASSERT_TRUE(help.finished);
  EXPECT_EQ(0, WEXITSTATUS(help.status));
  for (const bkcom::MessageInfo& info : bkcom::MessageCatalogue()) {
    if (info.direction != bkcom::Direction::Out) {
      EXPECT_NE(std::string::npos, help.output.find(info.className)) << info.className;
    }
  }
}

}  // namespace

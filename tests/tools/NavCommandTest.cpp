#include <sys/wait.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "NavFakeDaemon.h"
#include "bkcom/Events.h"
#include "bkcom/MessageCatalogue.h"
#include "bkcom/Text.h"
#include "support/Process.h"
#include "support/TempDir.h"

namespace {

using namespace std::chrono_literals;
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

  static bool Contains(const std::string& output, const std::string& line) {
    return output.find(line + "\n") != std::string::npos;
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
  nav->WriteInput(
      "accept 1001\n"
      "wait ^CAcknowledge ActionId=2 Error=1$\n"
      "  # a comment, and an empty line\n"
      "\n"
      "reject 1001 too far\n"
      "status 3 on my way\n"
      "text hello  world \n"
      "allitems\n"
      "ack 2 2\n"
      "features\n"
      "wtstate\n"
      "wt 4\n"
      "connstate\n"
      "statuslist 2\n"
      "markread 1001\n"
      "cancel 1002\n"
      "start 1001\n"
      "suspend 1001\n"
      "resume 1001\n"
      "complete 1001\n"
      "orderstatus 1001 7 arrived\n"
      "active 1001 2\n"
      "delete 0x3e9\n"
      "markreadmsg 55\n"
      "deletemsg 56\n"
      "logbook 3\n"
      "driver 4711\n"
      "suspendlink\n"
      "navstate 2 1700000000 4200 52.5 13.25 5250001 -1\n"
      "gps 5250000 -1340000 80 270 9 1700000100\n"
      "nofix\n"
      "raw 99 ActionId:uint32=5\n"
      "raw 27 ActionId:uint32=700 OrderId:uint32=8\n"
      "init 0.9\n"
      "wait CAcknowledge ActionId=26 Error\n");
  nav->CloseInput();
  EXPECT_EQ(0, ExitStatus(*nav)) << nav->Output();
  const std::vector<std::string> expected = {
      "CBrenikInitVelarnAction ActionId=1 KAInterval=30 Version=1.0.5 NCVersion=nc-2 NCBuild=77 SNR=SN1",
      "CAcceptOrderAction ActionId=2 OrderId=1001",
      "CRejectOrderAction ActionId=3 OrderId=1001 Reason=too far",
      "CSendStatusAction ActionId=4 StatusId=3 Text=on my way",
      "CSendTextMessageAction ActionId=5 Text=hello  world",
      "CGetAllItemsAction ActionId=6",
      "CAcknowledge ActionId=2 Error=2",
      "CGetFeaturesInfoAction ActionId=7",
      "CRequestWorkingTimeStateAction ActionId=8",
      "CChangeWorkingTimeStateAction ActionId=9 Action=4",
      "CGetConnectionStateAction ActionId=10",
      "CGetStatusListAction ActionId=11 Type=2",
      "CMarkReadOrderAction ActionId=12 OrderId=1001",
      "CCancelOrderAction ActionId=13 OrderId=1002 Reason=",
      "CStartOrderAction ActionId=14 OrderId=1001",
      "CSuspendOrderAction ActionId=15 OrderId=1001",
      "CResumeOrderAction ActionId=16 OrderId=1001",
      "CCompleteOrderAction ActionId=17 OrderId=1001",
      "CSendStatusOrderAction ActionId=18 OrderId=1001 StatusId=7 Text=arrived",
      "CChangeActiveStateAction ActionId=19 OrderId=1001 NewActiveState=2",
      "CDeleteOrderAction ActionId=20 OrderId=1001",
      "CMarkReadTextMessageAction ActionId=21 MsgId=55",
      "CDeleteTextMessageAction ActionId=22 MsgId=56",
      "CChangeLogbookModeAction ActionId=23 NewMode=3",
      "CSetDriverIdAction ActionId=24 DriverId=4711",
      "CSuspendAction ActionId=25",
      "CNavigationStateEvent NavType=2 UDst_Lat=5250001 UDst_Long=-1 RDst_Lat=5250000 RDst_Long=1325000 "
      "ETA=1700000000 Dist=4200",
      "CGPSEvent Val=1 Lat=5250000 Long=-1340000 TS=1700000100 Speed=80 Course=270 Sat=9",
      "CAcceptOrderAction ActionId=700 OrderId=8",  // the raw one of id 99 was dropped
      "CBrenikInitVelarnAction ActionId=26 KAInterval=30 Version=0.9 NCVersion=nc-2 NCBuild=77 SNR=SN1",
  };
  ASSERT_TRUE(daemon.WaitForReceived(expected.size() + 1)) << nav->Output();
  std::vector<std::string> received = daemon.Received();
  // nofix carries the time of the day: checked apart.
  ASSERT_EQ(expected.size() + 1, received.size()) << nav->Output();
  EXPECT_EQ(0u, received[28].find("CGPSEvent Val=0 Lat=0 Long=0 TS=")) << received[28];
  received.erase(received.begin() + 28);
  EXPECT_EQ(expected, received);

  // The tool's own lines: what it sent and what it got, one line each.
  const std::string output = nav->Output();
  EXPECT_TRUE(Contains(output, "# connected to " + address)) << output;
  EXPECT_TRUE(Contains(output, "<- CVelarnInitBrenikAction ActionId=2 Version=\"1.0.5\" NavStateUpdate=60"))
      << output;
  EXPECT_TRUE(Contains(output,
                       "-> CBrenikInitVelarnAction ActionId=1 KAInterval=30 Version=\"1.0.5\" "
                       "NCVersion=\"nc-2\" NCBuild=\"77\" SNR=\"SN1\""))
      << output;
  EXPECT_TRUE(Contains(output, "-> CAcceptOrderAction ActionId=2 OrderId=1001")) << output;
  EXPECT_TRUE(Contains(output, "<- CAcknowledge ActionId=2 Error=1")) << output;
  EXPECT_TRUE(Contains(output, "-> CRejectOrderAction ActionId=3 OrderId=1001 Reason=\"too far\"")) << output;
  EXPECT_TRUE(Contains(output,
                       "-> CNavigationStateEvent NavType=2 UDst_.Lat=5250001 UDst_.Long=-1 RDst_.Lat=5250000 "
                       "RDst_.Long=1325000 ETA=1700000000 Dist=4200"))
      << output;
  EXPECT_TRUE(Contains(output, "-> ? MessageID=99 (raw ActionId:uint32=5)")) << output;
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
  const std::string output = nav->Output();
  EXPECT_TRUE(
      Contains(output,
               "<- COrderReceivedEvent Order_.Id=1001 Order_.SKey=4 Order_.Type=1 Order_.State=1 "
               "Order_.RecvAt=1700000000 Order_.LMT=0 Order_.AS=0 Order_.AAS=0 Order_.Dest_.Lat=5250000 "
               "Order_.Dest_.Long=-1 Order_.PA=0 Order_.Num=\"A-17\" "
               "Order_.Text=\"say \\\"hi\\\"\\\\\\nnext\\tline\\x01\" Order_.TN=\"\" Order_.DestDesc=\"\""))
      << output;
  EXPECT_TRUE(Contains(output, "<- CGPSFeedEvent Enabled=true")) << output;
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
  EXPECT_NE(std::string::npos, output.find("line 1: unknown action \"acept\"")) << output;
  EXPECT_NE(std::string::npos, output.find("line 2: ORDER must be a number")) << output;
  EXPECT_NE(std::string::npos, output.find("line 3: missing ORDER; usage: reject ORDER [REASON...]"))
      << output;
  EXPECT_NE(std::string::npos, output.find("line 4: LAT must be degrees from -180 to 180")) << output;
  EXPECT_NE(std::string::npos, output.find("line 5: a field is NAME:TYPE=VALUE")) << output;
  EXPECT_NE(std::string::npos, output.find("line 6: missing REGEX")) << output;
  EXPECT_TRUE(Contains(output, "# still here")) << output;
  EXPECT_TRUE(Contains(output, "# wait timed out: NeverComes")) << output;
  EXPECT_EQ(std::string::npos, output.find("CSendTextMessageAction")) << output;
  EXPECT_EQ(1u, daemon.Received().size());  // the handshake's answer alone

  // A bad line alone lets the script run to its end, with status 2.
  std::unique_ptr<ChildProcess> again = StartNav();
  again->WriteInput("nonsense\nallitems\n");
  again->CloseInput();
  EXPECT_EQ(2, ExitStatus(*again));
  EXPECT_NE(std::string::npos, again->Output().find("-> CGetAllItemsAction")) << again->Output();
}

TEST_F(NavCommandTest, EndsWithStatus1WhenTheDaemonGoesAway) {
  daemon.Start();
  std::unique_ptr<ChildProcess> nav = StartNav({"--stay"});
  nav->CloseInput();  // --stay: the end of the input doesn't end it
  ASSERT_TRUE(daemon.WaitForReceived(1));
  EXPECT_TRUE(nav->Running());
  daemon.Stop();
  EXPECT_EQ(1, ExitStatus(*nav));
  EXPECT_NE(std::string::npos, nav->Output().find("# disconnected: ")) << nav->Output();
}

TEST_F(NavCommandTest, WaitsForTheDaemonToListenOrGivesUp) {
  std::unique_ptr<ChildProcess> early = StartNav();
  std::unique_ptr<ChildProcess> impatient = StartNav({"--connect-timeout", "0.3"});
  EXPECT_EQ(1, ExitStatus(*impatient));
  EXPECT_NE(std::string::npos, impatient->Output().find("velarnctl nav: can't connect to " + address))
      << impatient->Output();

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

TEST_F(NavCommandTest, HelpListsEveryActionAndArgumentsAreChecked) {
  const testsupport::RunResult help = testsupport::Run({VELARNCTL_BINARY, "nav", "--help"}, 10s);
  ASSERT_TRUE(help.finished);
  EXPECT_EQ(0, WEXITSTATUS(help.status));
  for (const bkcom::MessageInfo& info : bkcom::MessageCatalogue()) {
    if (info.direction != bkcom::Direction::Out) {
      EXPECT_NE(std::string::npos, help.output.find(info.className)) << info.className;
    }
  }
  EXPECT_NE(std::string::npos, help.output.find("wait REGEX [SECONDS]"));

  for (const std::vector<std::string>& args : std::vector<std::vector<std::string>>{{"nav"},
                                                                                    {"nav", "a", "b"},
                                                                                    {"nav", "a", "--bogus"},
                                                                                    {"nav", "a", "-k", "-1"},
                                                                                    {"nav", "a", "-w"}}) {
    std::vector<std::string> argv = {VELARNCTL_BINARY};
    argv.insert(argv.end(), args.begin(), args.end());
    const testsupport::RunResult result = testsupport::Run(argv, 10s);
    ASSERT_TRUE(result.finished);
    EXPECT_EQ(2, WEXITSTATUS(result.status)) << args.back() << ": " << result.output;
    EXPECT_EQ(0u, result.output.find("velarnctl nav: ")) << result.output;
  }
}

}  // namespace

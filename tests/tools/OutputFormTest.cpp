// What velarnctl prints beside the numbers, and its JSON and capture forms.
#include <gtest/gtest.h>

#include <arpa/inet.h>

#include <sstream>
#include <string>

#include "Velarnctl.h"
#include "bkcom/Actions.h"
#include "bkcom/Events.h"
#include "common/Buffer.h"
#include "data/Database.h"
#include "quorlan/Message.h"
#include "velarnctl/DbDump.h"
#include "velarnctl/Meanings.h"
#include "velarnctl/MsgJson.h"
#include "velarnctl/NavFormat.h"
#include "velarnctl/UnitMessageText.h"
#include "velarnctl/UnitPcap.h"

namespace {

using velarnctl::OutputForm;

TEST(MeaningsTest, NameTheNumbersOfEveryLink) {
  using namespace velarnctl;
  const std::pair<std::string, std::string> cases[] = {
      {AcknowledgeMeaning(1), "carried out"},
      {AcknowledgeMeaning(2), "refused"},
      {AcknowledgeMeaning(0), ""},
      {OrderStateMeaning(2), "read, to be accepted"},
      {OrderStateMeaning(10), ""},
      {OrderWorkflowMeaning(302), "rejected by the driver"},
      {OrderWorkflowMeaning(205), "active state bit 4 reached"},
      {TextMessageWorkflowMeaning(102), "message read"},
      {WorkingTimeActionsMeaning(0x14), "end of work, end of pause"},
      {NavLogbookModesMeaning(10), "business, private"},
      {UnitLogbookModeMeaning(4), "third"},
      {OfficeLogbookModeMeaning(1), "private"},
      {BitsMeaning(0x13), "bits 0,1,4"},
      {BitsMeaning(4), "bit 2"},
      {BitsMeaning(0), "none"},
      {TimeMeaning(0), "none"},
      {TimeMeaning(1700000000), "2023-11-14 22:13:20 UTC"},
      {Time2000Meaning(800000000), "2025-05-08 06:13:20 UTC"},
      {Time2000Meaning(0xFFFFFFFF), "none"},
      {TimeMs2000Meaning(300000000000ull), "2009-07-04 05:20:00.000 UTC"},
      {TimeMs2000Meaning(1234), "2000-01-01 00:00:01.234 UTC"},
      {DecimalDegrees(-48137154, 1000000), "-48.137154"},
      {DecimalDegrees(5, 100000), "0.00005"},
      {LatitudeMeaning(-1, 1000000), "0.000001\u00b0 S"},
      {LongitudeMeaning(1157612, 100000), "11.57612\u00b0 E"},
  };
  for (const auto& entry : cases) {
    EXPECT_EQ(entry.second, entry.first);
  }
  // An order reads the same on both links: the office's type names the
  // driver's, and the driver's names the office's back.
  for (uint32_t office = 0; office <= 2; ++office) {
    const std::string driver = OfficeOrderTypeMeaning(office);
    ASSERT_EQ(0u, driver.find("driver type ")) << driver;
    EXPECT_EQ("office type " + std::to_string(office),
              StoredOrderTypeMeaning(static_cast<uint32_t>(std::stoul(driver.substr(12)))));
  }
}

TEST(NavFormatTest, ShowsMeaningsOnlyWhenReadableAndFieldsByWireNameInJson) {
  CNavigationStateEvent event;
  event.navType = 2;
  event.rDst.lat = -4813715;
  event.rDst.lon = 1157612;
  event.eta = 1700000000;
  event.dist = 5000;
  ASSERT_TRUE(event.Encode());
  event.message.SetInt8("MessageID", CNavigationStateEvent::kId);
  EXPECT_EQ(
      "CNavigationStateEvent NavType=2 (guidance under way) UDst_.Lat=0 (none) UDst_.Long=0 (none) "
      "RDst_.Lat=-4813715 (48.13715\u00b0 S) RDst_.Long=1157612 (11.57612\u00b0 E) "
      "ETA=1700000000 (2023-11-14 22:13:20 UTC) Dist=5000",
      velarnctl::FormatNavMessage(event.message, OutputForm::Readable));
  EXPECT_EQ(
      "CNavigationStateEvent NavType=2 UDst_.Lat=0 UDst_.Long=0 RDst_.Lat=-4813715 RDst_.Long=1157612 "
      "ETA=1700000000 Dist=5000",
      velarnctl::FormatNavMessage(event.message, OutputForm::Raw));

  CAcknowledge ack;
  ack.actionId = 7;
  ack.error = 2;
  ASSERT_TRUE(ack.Encode());
  EXPECT_EQ("{\"dir\":\"in\",\"class\":null}", velarnctl::FormatNavMessage(ack.message, OutputForm::Json));
  ack.message.SetInt8("MessageID", CAcknowledge::kId);
  EXPECT_EQ("{\"dir\":\"out\",\"class\":\"CAcknowledge\",\"fields\":{\"ActionId\":7,\"Error\":2}}",
            velarnctl::FormatNavMessage(ack.message, OutputForm::Json, false));
  EXPECT_EQ("CAcknowledge ActionId=7 Error=2 (refused)",
            velarnctl::FormatNavMessage(ack.message, OutputForm::Readable));
}

quorlan::Message Parsed(const char* json) {
  quorlan::Message tree;
  velarnctl::MessageFromJson(velarnctl::MessageJson::parse(json), tree);
  return tree;
}

TEST(UnitMessageTextTest, MeaningsFollowTheKeyAndJsonNamesEveryLevel) {
  const quorlan::Message event = Parsed(
      R"({"id": "TextMessageWorkflowEventOutMsg", "nodes": {"1": 300000000000, "2": -1, "3": {"2": 48137154, "6": 45},
          "0x8D": 1000, "0x8E": 102}})");
  EXPECT_EQ(
      "0x0508 TextMessageWorkflowEventOutMsg time=300000000000 (2009-07-04 05:20:00.000 UTC) linkAge=-1 "
      "(never up) "
      "unitPosition={latitude=48137154 (48.137154\u00b0 N) course=45 (90\u00b0)} messageId=1000 "
      "workflowCode=102 (message read)",
      velarnctl::MessageLine(event, OutputForm::Readable));

  const quorlan::Message order = Parsed(
      R"({"id": "NewOrderInMsg", "nodes": {"1": 1001, "3": 2, "6": {"1": 1, "3": "x"}, "9": [{"2": "112"}],
          "200": {"bytes": "ab"}}})");
  EXPECT_EQ(
      "0x0401 NewOrderInMsg orderId=1001 orderType=2 (driver type 2) destination={latitude=1 (0.000001\u00b0 "
      "N) "
      "description=\"x\"} telephoneNumbers=[{number=\"112\"}] 200=hex:ab",
      velarnctl::MessageLine(order, OutputForm::Readable));
  EXPECT_EQ(R"({"id":"0x0401","name":"NewOrderInMsg","fields":{"orderId":1001,"orderType":2,)"
            R"("destination":{"latitude":1,"description":"x"},"telephoneNumbers":[{"number":"112"}],)"
            R"("200":{"bytes":"ab"}}})",
            velarnctl::JsonLine(velarnctl::MessageObject(order)));

  // A PDU report: the note ends the last line, or is a member in JSON.
  velarnctl::PduReport report{
      "4:8", {velarnctl::NumberField("size", 10, "bytes")}, {"-> msg ..."}, {{"id", "x"}}};
  EXPECT_EQ("-> pdu 4:8 size=10 (bytes)\n-> msg ... (queued: link down)",
            velarnctl::ReportText(OutputForm::Readable, false, report, "queued: link down"));
  EXPECT_EQ("<- pdu 4:8 size=10",
            velarnctl::ReportText(OutputForm::Raw, true, {"4:8", report.fields, {}, {}}));
  EXPECT_EQ(R"({"dir":"out","pdu":"4:8","size":10,"msg":{"id":"x"},"note":"queued: link down"})",
            velarnctl::ReportText(OutputForm::Json, false, report, "queued: link down"));
}

TEST(PcapWriterTest, RecordsAreIpv4PacketsWithAValidHeader) {
  EXPECT_EQ(std::string("\xd4\xc3\xb2\xa1\x02\x00\x04\x00\0\0\0\0\0\0\0\0\xff\xff\0\0\xe4\0\0\0", 24),
            velarnctl::PcapWriter::FileHeader());
  sockaddr_in unit{};
  sockaddr_in daemon{};
  inet_pton(AF_INET, "192.168.1.1", &unit.sin_addr);
  inet_pton(AF_INET, "192.168.1.2", &daemon.sin_addr);
  unit.sin_port = htons(47001);
  daemon.sin_port = htons(47000);
  common::Buffer ack(3, 200);
  ack.Append(reinterpret_cast<const unsigned char*>("\x42\x84\x07"), 3);
  const std::string record = velarnctl::PcapWriter::Record(unit, daemon, 9, 1700000000, 250, ack);
  ASSERT_EQ(16u + 20 + 8 + 3, record.size());
  EXPECT_EQ(std::string("\x00\xf1\x53\x65\xfa\0\0\0\x1f\0\0\0\x1f\0\0\0", 16), record.substr(0, 16));
  const std::string ip = record.substr(16);
  uint32_t sum = 0;  // over the header, its checksum included: all ones
  for (size_t i = 0; i < 20; i += 2) {
    sum +=
        static_cast<uint32_t>(static_cast<unsigned char>(ip[i]) << 8 | static_cast<unsigned char>(ip[i + 1]));
  }
  EXPECT_EQ(0xFFFFu, (sum & 0xFFFF) + (sum >> 16));
  EXPECT_EQ(std::string("\x45\x00\x00\x1f\x00\x09\x40\x00\x40\x11", 10), ip.substr(0, 10));
  EXPECT_EQ(std::string("\xc0\xa8\x01\x01\xc0\xa8\x01\x02\xb7\x99\xb7\x98\x00\x0b\x00\x00\x42\x84\x07", 19),
            ip.substr(12));
}

TEST(DbDumpTest, RawKeepsTheStoredNumbersWhereReadableNamesThem) {
  data::Database database("");
  data::Order order(1001, "A1", "x");
  order.type = data::Order::Type3;
  order.state = static_cast<data::Order::State>(9);
  order.activeState = 4;
  order.arrivalTime = 1700000000;
  order.destination = data::Position(-48137154, 11576124);
  database.orders.insert({order.id, order});
  std::ostringstream readable;
  std::ostringstream raw;
  velarnctl::PrintDatabase(readable, database);
  velarnctl::PrintDatabase(raw, database, 9, OutputForm::Raw);
  EXPECT_TRUE(clitest::HasAll(
      readable.str(), {" 9 (active)\n", " 3 (office type 1)\n", " 4 (bit 2)\n", " -48.137154, 11.576124\n",
                       " 2023-11-14 22:13:20 UTC (1700000000)\n"}));
  EXPECT_TRUE(
      clitest::HasAll(raw.str(), {" 9\n", " 3\n", " 4\n", " -48137154, 11576124\n", " 1700000000\n"}));
  EXPECT_EQ(std::string::npos, raw.str().find("UTC"));
}

}  // namespace

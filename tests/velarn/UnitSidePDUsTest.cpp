#include "velarn/pdu/UnitSidePDUs.h"

#include <dirent.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <set>
#include <sstream>

#include "common/Exceptions.h"
#include "velarn/PDUBytes.h"
#include "velarn/pdu/AppMsgRegistry.h"
#include "velarn/pdu/IncomingAppMsgs.h"
#include "velarn/pdu/OutgoingAppMsgs.h"

namespace {

using namespace velarn;
using velarntest::Bytes;
using velarntest::Content;

template <class T>
std::unique_ptr<T> DecodeAs(const common::Buffer& buffer) {
  std::unique_ptr<AIncomingAppMsg> message(AppMsgRegistry::Instance().Decode(buffer));
  std::unique_ptr<T> typed(dynamic_cast<T*>(message.get()));
  if (typed) message.release();
  return typed;
}

// A fix with a distinct value in every field the wire carries.
GPSFixEx FullFixEx(unsigned count) {
  GPSFixEx x{'A', 1,   2,   3, -52370216, 4895168, 300000000,           1000, 2345, 12,
             31,  'E', 4,   5, -6,        7,       0x0000000100000007u, 20,   17,   8,
             3,   9,   'A', 0, {}};
  x.satelliteCount = static_cast<uint8_t>(count);
  for (unsigned i = 0; i < count; ++i) {
    x.satellites[i] = SatelliteInfo{static_cast<uint8_t>(i + 1), static_cast<uint8_t>(30 + i),
                                    static_cast<int16_t>(i * 3 - 10), static_cast<uint16_t>(i * 11)};
  }
  return x;
}

GPSFix FullFix() { return GPSFix{'A', -1500000, 4895168, 300000000, 9, 12, 359, 5, 1}; }

// Written by the unit's side, decoded here and written again: the same bytes
// come out only if every field survived the decoder.
TEST(UnitSidePDUsTest, IncomingPDUsSurviveTheDaemonsDecoders) {
  common::Buffer wire(0, 200);
  common::Buffer again(0, 200);
  const LogbookData logbook{1234567, 2, true, 1200000, 299990000, 3600, 34567, 0xABCD, 22, 33};
  WriteLogbookData(logbook, wire);
  WriteLogbookData(DecodeAs<AppMsg_1_2>(wire)->GetLogbook(), again);
  EXPECT_EQ(Content(wire), Content(again));

  WriteStatusTableSize(0, false, wire);
  auto size = DecodeAs<AppMsg_4_3>(wire);
  EXPECT_EQ(0, size->GetRowCount());
  EXPECT_FALSE(size->GetFlag());
  WriteStatusTableRow(4, StatusTableRow{7, "Loading"}, wire);
  auto row = DecodeAs<AppMsg_4_5>(wire);
  WriteStatusTableRow(row->GetIndex(), StatusTableRow{row->GetKey(), row->GetText()}, again);
  EXPECT_EQ(Content(wire), Content(again));
  WriteStatusTableChanged(wire);
  EXPECT_EQ(std::vector<int>({0x04, 0x06}), Content(wire));
  WriteServerMessage(Bytes({0x04, 0x01, 0x00}), true, wire);
  auto message = DecodeAs<AppMsg_4_8>(wire);
  EXPECT_EQ(std::vector<int>({0x04, 0x01, 0x00}), Content(message->GetMessage()));
  EXPECT_TRUE(message->IsValid());
  WriteServerMessage(Bytes({0x04, 0x01}), false, wire);
  EXPECT_FALSE(DecodeAs<AppMsg_4_8>(wire)->IsValid());
  WriteNetworkRegistration('1', '2', wire);
  EXPECT_EQ(unsigned('2'), DecodeAs<AppMsg_4_A>(wire)->GetExtra());
  const common::Buffer value = Bytes({'1'});
  WriteParamValue("GPF", &value, wire);
  EXPECT_EQ("1", velarntest::Text(DecodeAs<AppMsg_8_2>(wire)->GetValue()));
  WriteParamValue("GPF", nullptr, wire);
  EXPECT_FALSE(DecodeAs<AppMsg_8_2>(wire)->IsFound());
  WriteParamRead("REL", wire);
  EXPECT_EQ("REL", DecodeAs<AppMsg_8_4>(wire)->GetName());
  WriteParamChanged("ZUK", wire);
  EXPECT_EQ("ZUK", DecodeAs<AppMsg_8_6>(wire)->GetName());

  // An empty fix has no options; a full one keeps all its fields, block included.
  WriteGPSFix(GPSFix(), nullptr, wire);
  EXPECT_EQ(std::vector<int>({0x07, 0x01}), Content(wire));
  for (unsigned count : {0u, 5u, 32u}) {
    const GPSFixEx fixEx = FullFixEx(count);
    WriteGPSFix(FullFix(), &fixEx, wire);
    EXPECT_EQ(2u + 10 * 3 + 24 + 0x38 + 6 * count, wire.GetSize());
    auto fix = DecodeAs<AppMsg_7_1>(wire);
    EXPECT_EQ(12, fix->GetFix().speed);
    EXPECT_EQ(-52370216, fix->GetFixEx().latitude);
    // Each satellite where the block puts it (a round trip alone would not
    // notice an entry that the writer leaves out).
    for (unsigned i = 0; i < count; ++i) {
      const SatelliteInfo& s = fix->GetFixEx().satellites[i];
      EXPECT_EQ(std::vector<int>({int(i) + 1, 30 + int(i), int(i) * 3 - 10, int(i) * 11}),
                std::vector<int>({s.number, s.signal, s.elevation, s.azimuth}))
          << i;
    }
    WriteGPSFix(fix->GetFix(), &fix->GetFixEx(), again);
    EXPECT_EQ(Content(wire), Content(again)) << count;
  }
}

TEST(UnitSidePDUsTest, OutgoingPDUsDecodeBackIntoTheirClasses) {
  common::Buffer wire(0, 200);
  const auto back = [&](const AOutgoingAppMsg& message) {
    AppMsgRegistry::Instance().Encode(message, wire);
    return std::unique_ptr<AOutgoingAppMsg>(DecodeOutgoingAppMsg(wire));
  };
  EXPECT_EQ(0x0101, back(AppMsg_1_1())->GetId());
  EXPECT_EQ(0x0402, back(AppMsg_4_2())->GetId());
  EXPECT_EQ(0x040B, back(AppMsg_4_B())->GetId());
  EXPECT_EQ(6, dynamic_cast<AppMsg_1_3&>(*back(AppMsg_1_3(6))).GetMode());
  auto rows = back(AppMsg_4_4(2, 8));
  EXPECT_EQ(2, dynamic_cast<AppMsg_4_4&>(*rows).GetFirst());
  EXPECT_EQ(8, dynamic_cast<AppMsg_4_4&>(*rows).GetLast());
  auto forward = back(AppMsg_4_7(Bytes({5, 6}), "HQ"));
  EXPECT_EQ(std::vector<int>({5, 6}), Content(dynamic_cast<AppMsg_4_7&>(*forward).GetMessage()));
  EXPECT_EQ("HQ", dynamic_cast<AppMsg_4_7&>(*forward).GetRecipient());
  EXPECT_EQ(1, dynamic_cast<AppMsg_7_2&>(*back(AppMsg_7_2(1))).GetValue());
  EXPECT_EQ("GPF", dynamic_cast<AppMsg_8_1&>(*back(AppMsg_8_1("GPF"))).GetName());
  EXPECT_EQ("CMD", dynamic_cast<AppMsg_8_5&>(*back(AppMsg_8_5("CMD"))).GetName());
  EXPECT_FALSE(dynamic_cast<AppMsg_8_3&>(*back(AppMsg_8_3("NCI"))).IsFound());
  EXPECT_TRUE(dynamic_cast<AppMsg_8_3&>(*back(AppMsg_8_3("NCI", Bytes({})))).IsFound());

  const auto refusal = [](const common::Buffer& buffer) {
    return velarntest::Thrown<ParseException>([&] { delete DecodeOutgoingAppMsg(buffer); });
  };
  EXPECT_EQ("can't find a factory", refusal(Bytes({0x01, 0x02, 0x01, 0x01, 0x00, 0x00})));
  EXPECT_EQ("missing option 1 or 2 in pdu 4:4", refusal(Bytes({0x04, 0x04, 0x01, 0x01, 0x00, 0x00})));
  EXPECT_EQ("missing option 1 in pdu 8:3", refusal(Bytes({0x08, 0x03, 0x02, 0x00, 0x00})));
  EXPECT_EQ("size of parameter doesn't match to the size of the expected type",
            refusal(Bytes({0x07, 0x02, 0x01, 0x00, 0x00})));
}

// The seed corpus of the PDU fuzz target: every incoming class as the unit
// would send it. VELARND_WRITE_PDU_SEEDS=1 rewrites the files.
std::vector<std::pair<std::string, common::Buffer>> SeedPDUs() {
  std::vector<std::pair<std::string, common::Buffer>> seeds;
  const auto add = [&](const std::string& name, const std::function<void(common::Buffer&)>& write) {
    seeds.emplace_back(name, common::Buffer(0, 200));
    write(seeds.back().second);
  };
  add("1_2_logbook", [](common::Buffer& b) { WriteLogbookData(LogbookData{987654, 1}, b); });
  add("4_3_table_size", [](common::Buffer& b) { WriteStatusTableSize(3, true, b); });
  add("4_5_table_row", [](common::Buffer& b) { WriteStatusTableRow(0, StatusTableRow{101, "Arrived"}, b); });
  add("4_6_table_changed", [](common::Buffer& b) { WriteStatusTableChanged(b); });
  add("4_8_server_message", [](common::Buffer& b) {
    WriteServerMessage(Bytes({0x04, 0x01, 0x00, 0x02, 0x00, 0x00}), true, b);
  });
  add("4_A_registration", [](common::Buffer& b) { WriteNetworkRegistration('1', '0', b); });
  add("7_1_fix_only", [](common::Buffer& b) { WriteGPSFix(FullFix(), nullptr, b); });
  for (unsigned count : {5u, 32u}) {
    const GPSFixEx fixEx = FullFixEx(count);
    add("7_1_fix_" + std::to_string(count) + "_satellites",
        [&](common::Buffer& b) { WriteGPSFix(FullFix(), &fixEx, b); });
  }
  add("8_2_param_value", [](common::Buffer& b) {
    const common::Buffer value = Bytes({'1'});
    WriteParamValue("GPF", &value, b);
  });
  add("8_2_param_unknown", [](common::Buffer& b) { WriteParamValue("ZUK", nullptr, b); });
  add("8_4_param_read", [](common::Buffer& b) { WriteParamRead("REL", b); });
  add("8_6_param_changed", [](common::Buffer& b) { WriteParamChanged("GPF", b); });
  return seeds;
}

TEST(UnitSidePDUsTest, FuzzSeedsCoverEveryIncomingClass) {
  const std::string folder = std::string(VELARND_SOURCE_DIR) + "/fuzz/corpus/pdu_decode";
  if (std::getenv("VELARND_WRITE_PDU_SEEDS") != nullptr) {
    for (const auto& seed : SeedPDUs()) {
      std::ofstream(folder + "/" + seed.first, std::ios::binary)
          .write(reinterpret_cast<const char*>(seed.second.GetData()), seed.second.GetSize());
    }
  }
  DIR* directory = opendir(folder.c_str());
  ASSERT_NE(nullptr, directory) << folder;
  std::set<unsigned short> ids;
  while (const dirent* entry = readdir(directory)) {
    if (entry->d_name[0] == '.') continue;
    std::ostringstream content;
    content << std::ifstream(folder + "/" + entry->d_name, std::ios::binary).rdbuf();
    common::Buffer buffer(0, 200);
    buffer.Append(content.str().data(), static_cast<unsigned>(content.str().size()));
    try {
      ids.insert(std::unique_ptr<AIncomingAppMsg>(AppMsgRegistry::Instance().Decode(buffer))->GetId());
    } catch (const std::exception& error) {
      ADD_FAILURE() << entry->d_name << ": " << error.what();
    }
  }
  closedir(directory);
  EXPECT_EQ(std::set<unsigned short>(
                {0x0102, 0x0403, 0x0405, 0x0406, 0x0408, 0x040A, 0x0701, 0x0802, 0x0804, 0x0806}),
            ids);
}

}  // namespace

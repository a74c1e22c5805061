#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "velarn/ScriptedUnit.h"

using linktest::Bytes;

namespace {

// Builds inputs in the record format of fuzz/fuzz_transport_frames.cpp.
class Script {
 public:
  Script& Frame(const Bytes& frame) {
    bytes.push_back(static_cast<uint8_t>(frame.size()));
    bytes.insert(bytes.end(), frame.begin(), frame.end());
    return *this;
  }
  Script& Data(uint8_t sequence, const Bytes& payload) {
    Bytes frame{0x42, 0x43, sequence};
    frame.insert(frame.end(), payload.begin(), payload.end());
    return Frame(frame);
  }
  Script& Ack(uint8_t sequence) { return Frame({0x42, 0x44, sequence}); }
  Script& Send(uint8_t flags, const Bytes& payload) {
    bytes.push_back(0xF0);
    bytes.push_back(flags);
    bytes.push_back(static_cast<uint8_t>(payload.size()));
    bytes.insert(bytes.end(), payload.begin(), payload.end());
    return *this;
  }
  Script& Op(uint8_t op) {
    bytes.push_back(op);
    return *this;
  }
  Bytes bytes;
};

const Bytes kRequest{0x42, 0x40, 0x00, 0x01, 0x03, 0x34, 0x12};
const Bytes kNewRequest{0x42, 0x40, 0x00, 0x01, 0x03, 0x00, 0x00};

std::vector<std::pair<std::string, Bytes>> Seeds() {
  return {
      {"data_and_acks", Script()
                            .Data(1, {0x04, 0x06})
                            .Ack(1)
                            .Frame({0x42, 0x45, 0x00})
                            .Data(1, {0x04, 0x06})
                            .Data(2, {0x04, 0x03, 0x01, 0x01, 0x00, 0x02})
                            .Data(0, {})
                            .bytes},
      {"sends", Script()
                    .Send(1, {0x04, 0x0B})
                    .Ack(1)
                    .Send(2, {0x04, 0x07, 0x01, 0x01, 0x00, 0x01})
                    .Send(4, {0x01, 0x01})
                    .Ack(2)
                    .Ack(3)
                    .Ack(9)
                    .bytes},
      {"reconnect", Script().Frame(kNewRequest).Frame(kNewRequest).Data(0, {0x04, 0x06}).Data(1, {0x04, 0x06}).bytes},
      {"malformed", Script()
                        .Frame({})
                        .Frame({0x42, 0x43})
                        .Frame({0x41, 0x43, 0x01, 0x04, 0x06})
                        .Frame({0x42, 0x83, 0x01, 0x04, 0x06})
                        .Frame({0x42, 0x42, 0x01})
                        .Frame({0x42, 0x47, 0x01})
                        .Frame({0x42, 0x40, 0x00, 0x01, 0x03, 0x34})
                        .Frame({0x42, 0x46, 0x00, 0x01})
                        .Frame({0x42, 0x46, 0x00, 0x01, 0x03})
                        .Frame({0x42, 0x41, 0x00, 0x01, 0x03, 0x34, 0x12})
                        .Frame({0x42, 0x73, 0x05, 0x04, 0x06})
                        .bytes},
      {"stop_and_resume", Script()
                              .Send(2, {0x04, 0x07, 0x01, 0x01, 0x00, 0x02})
                              .Send(1, {0x08, 0x01})
                              .Op(0xF4)
                              .Frame(kRequest)
                              .Ack(1)
                              .Data(3, {0x04, 0x06})
                              .Op(0xF4)
                              .Frame(kNewRequest)
                              .Data(1, {0x04, 0x06})
                              .bytes},
      {"disconnect_and_connect", Script()
                                     .Op(0xF1)
                                     .Data(1, {0x04, 0x06})
                                     .Op(0xF3)
                                     .Frame(kRequest)
                                     .Frame({0x42, 0x41, 0x00, 0x01, 0x03, 0x34, 0x12})
                                     .Data(1, {0x04, 0x06})
                                     .Op(0xF1)
                                     .Op(0xF3)
                                     .Frame({0x42, 0x41, 0x00, 0x01, 0x03, 0x99, 0x00})
                                     .Op(0xF2)
                                     .bytes},
  };
}

// The seed corpus of the transport fuzz target is what this builds.
// VELARND_WRITE_TRANSPORT_SEEDS=1 rewrites the files.
TEST(TransportFuzzSeedsTest, CorpusMatchesTheScripts) {
  const std::string folder = std::string(VELARND_SOURCE_DIR) + "/fuzz/corpus/transport_frames/";
  const bool write = std::getenv("VELARND_WRITE_TRANSPORT_SEEDS") != nullptr;
  for (const auto& seed : Seeds()) {
    if (write) {
      std::ofstream(folder + seed.first, std::ios::binary)
          .write(reinterpret_cast<const char*>(seed.second.data()), static_cast<std::streamsize>(seed.second.size()));
    }
    std::ostringstream content;
    content << std::ifstream(folder + seed.first, std::ios::binary).rdbuf();
    const std::string stored = content.str();
    EXPECT_EQ(linktest::Hex(seed.second), linktest::Hex(Bytes(stored.begin(), stored.end()))) << seed.first;
  }
}

}  // namespace

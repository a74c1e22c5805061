#include <gtest/gtest.h>

#include "support/Ports.h"
#include "velarn/Packet.h"
#include "velarn/TransportStack.h"

using linktest::Bytes;
using linktest::TransportStack;

namespace {

std::vector<std::string> Received(TransportStack& stack) {
  std::vector<std::string> payloads;
  for (const linktest::Log::Entry& entry : stack.log.Starting("received ")) {
    payloads.push_back(entry.text.substr(9));
  }
  return payloads;
}

// The same machine plays the unit (direction bits swapped, opening actively)
// against the device: both directions deliver every payload once and in
// order across more than one wrap of the sequence numbers.
TEST(TransportPeersTest, DeviceAndUnitSidesTalkThroughWrappingSequences) {
  const sockaddr_in deviceAddress = linktest::Loopback("127.0.0.1", testsupport::FreeUdpPort());
  TransportStack unit(deviceAddress, velarn::TransportLayerImpl::Side::Unit);
  unit.Start();
  TransportStack device(unit.Address(), velarn::TransportLayerImpl::Side::Device, deviceAddress);
  device.Start();
  device.Listen();
  unit.Connect();
  ASSERT_TRUE(device.log.WaitFor("connected 1", 1, 3000));
  ASSERT_TRUE(unit.log.WaitFor("connected 1", 1, 3000));
  EXPECT_EQ(device.Context()->sessionId, unit.Context()->sessionId);

  const size_t count = 300;
  std::vector<std::string> toUnit, toDevice;
  for (size_t i = 0; i < count; ++i) {
    const Bytes down{0x04, 0x08, static_cast<uint8_t>(i), static_cast<uint8_t>(i >> 8)};
    const Bytes up{0x04, 0x07, static_cast<uint8_t>(i), static_cast<uint8_t>(i >> 8)};
    toUnit.push_back(linktest::Dump(linktest::ToBuffer(down)));
    toDevice.push_back(linktest::Dump(linktest::ToBuffer(up)));
    device.Send(velarn::Packet::kKeepForSession, down);
    unit.Send(velarn::Packet::kLinkOnly, up);
  }
  ASSERT_TRUE(unit.log.WaitFor("received", count, 30000));
  ASSERT_TRUE(device.log.WaitFor("received", count, 30000));
  EXPECT_EQ(toUnit, Received(unit));
  EXPECT_EQ(toDevice, Received(device));

  // The unit goes away; the device notices and listens again, keeping the
  // session for the unit's return.
  unit.Stop();
  ASSERT_TRUE(device.log.WaitFor("interrupted", 1, 6000));
  EXPECT_EQ("listening", device.StateName());
  EXPECT_EQ(0u, unit.log.Count("interrupted"));
}

}  // namespace

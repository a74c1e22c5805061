#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include "velarn/Packet.h"
#include "velarn/TransportStack.h"

using namespace std::chrono_literals;
using linktest::Bytes;
using linktest::TransportEvent;
using linktest::TransportStack;

namespace {

// A free loopback port: bound, read back and released. The unit's stack
// must know the device's address before either starts.
uint16_t FreePort() {
  const int fd = ::socket(AF_INET, SOCK_DGRAM, 0);
  sockaddr_in address = linktest::Loopback();
  ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address));
  socklen_t length = sizeof(address);
  ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
  ::close(fd);
  return ntohs(address.sin_port);
}

std::vector<Bytes> Received(TransportStack& stack) {
  std::vector<Bytes> payloads;
  for (const TransportEvent& event : stack.handler.Events()) {
    if (event.kind == TransportEvent::Received) {
      payloads.push_back(event.payload);
    }
  }
  return payloads;
}

// The same machine plays the unit (direction bits swapped, opening actively)
// against the device: both directions deliver every payload once and in
// order across more than one wrap of the sequence numbers.
TEST(TransportPeersTest, DeviceAndUnitSidesTalkThroughWrappingSequences) {
  const sockaddr_in deviceAddress = linktest::Loopback("127.0.0.1", FreePort());
  TransportStack unit(deviceAddress, velarn::TransportLayerImpl::Side::Unit);
  unit.Start();
  TransportStack device(unit.Address(), velarn::TransportLayerImpl::Side::Device, deviceAddress);
  device.Start();
  device.Listen();
  unit.Connect();
  ASSERT_TRUE(device.handler.WaitFor(TransportEvent::Connected, 1, 3000ms));
  ASSERT_TRUE(unit.handler.WaitFor(TransportEvent::Connected, 1, 3000ms));
  EXPECT_TRUE(unit.handler.Events()[0].newSession);
  EXPECT_EQ(device.Context()->sessionId, unit.Context()->sessionId);

  const size_t count = 300;
  std::vector<Bytes> toUnit, toDevice;
  for (size_t i = 0; i < count; ++i) {
    toUnit.push_back({0x04, 0x08, static_cast<uint8_t>(i), static_cast<uint8_t>(i >> 8)});
    toDevice.push_back({0x04, 0x07, static_cast<uint8_t>(i), static_cast<uint8_t>(i >> 8)});
    device.Send(velarn::Packet::kKeepForSession, toUnit.back());
    unit.Send(velarn::Packet::kLinkOnly, toDevice.back());
  }
  ASSERT_TRUE(unit.handler.WaitFor(TransportEvent::Received, count, 30000ms));
  ASSERT_TRUE(device.handler.WaitFor(TransportEvent::Received, count, 30000ms));
  EXPECT_EQ(toUnit, Received(unit));
  EXPECT_EQ(toDevice, Received(device));

  // The unit goes away; the device notices and listens again, keeping the
  // session for the unit's return.
  unit.Stop();
  ASSERT_TRUE(device.handler.WaitFor(TransportEvent::Interrupted, 1, 6000ms));
  EXPECT_EQ("listening", device.StateName());
  EXPECT_EQ(0u, unit.handler.Count(TransportEvent::Interrupted));
}

}  // namespace

#include "common/UdpSocket.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "common/Buffer.h"
#include "common/Exceptions.h"
#include "support/Thrown.h"

namespace {

using testsupport::Thrown;

sockaddr_in Loopback(uint16_t port = 0) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  return address;
}

sockaddr_in LocalAddress(const common::UdpSocket& socket) {
  sockaddr_in address{};
  socklen_t length = sizeof(address);
  getsockname(socket.GetDescriptor(), reinterpret_cast<sockaddr*>(&address), &length);
  return address;
}

TEST(UdpSocketTest, MisuseAndFailuresThrowWithTheirTexts) {
  common::UdpSocket socket;
  common::Buffer buffer(16, 200);
  sockaddr_in from{};
  // Closed, it fails instead of waiting (with time-out 0, for ever) on no descriptor.
  for (int round = 0; round < 2; ++round) {
    buffer.Append(1);  // a failed receive empties it
    EXPECT_EQ(0u, Thrown<IOException>([&] {
                    socket.SendTo(buffer, Loopback(9), 0);
                  }).find("can't write to socket (errno 9: "));
    EXPECT_EQ(0u, Thrown<IOException>([&] {
                    socket.ReceiveFrom(buffer, from, 0);
                  }).find("can't read from socket (errno 9: "));
    socket.Open();
    const int fd = socket.GetDescriptor();
    EXPECT_EQ("socket is just open", Thrown<InvalidOperationException>([&] { socket.Open(); }));
    EXPECT_EQ(fd, socket.GetDescriptor());
    socket.Close();
  }
  EXPECT_EQ("port was closed", Thrown<InvalidOperationException>([&] { socket.Close(); }));
  common::UdpSocket first, second;
  first.Open();
  first.Bind(Loopback());
  second.Open();
  EXPECT_EQ(0u, Thrown<IOException>([&] {
                  second.Bind(LocalAddress(first));
                }).find("can't bind socket (errno 98: "));
}

TEST(UdpSocketTest, DatagramsArriveWholeAndEmptyDiffersFromTimeout) {
  common::UdpSocket receiver;
  receiver.Open();
  receiver.Bind(Loopback());
  const sockaddr_in receiverAddress = LocalAddress(receiver);

  common::UdpSocket sender;
  sender.Open();
  sender.Bind(Loopback());

  common::Buffer buffer(2048, 200);
  // Time-out: -1 and an empty buffer.
  buffer.Append(1);
  sockaddr_in from{};
  EXPECT_EQ(-1, receiver.ReceiveFrom(buffer, from, 20));
  EXPECT_EQ(0u, buffer.GetSize());

  // Longer than the buffer: it grows to exactly the datagram's length.
  std::string big(5000, 'x');
  for (size_t i = 0; i < big.size(); ++i) {
    big[i] = static_cast<char>(i * 7);
  }
  EXPECT_EQ(5000, sender.SendTo(big.data(), 5000, receiverAddress, 1000));
  ASSERT_EQ(5000, receiver.ReceiveFrom(buffer, from, 5000));
  EXPECT_EQ(5000u, buffer.GetCapacity());
  EXPECT_EQ(0, std::memcmp(big.data(), buffer.GetData(), 5000));
  EXPECT_EQ(LocalAddress(sender).sin_port, from.sin_port);

  // A shorter one doesn't shrink it.
  EXPECT_EQ(3, sender.SendTo("abc", 3, receiverAddress, 1000));
  ASSERT_EQ(3, receiver.ReceiveFrom(buffer, from, 5000));
  EXPECT_EQ(5000u, buffer.GetCapacity());
  EXPECT_EQ('c', buffer[2]);

  // An empty buffer sends nothing, and an empty datagram reads as 0, not -1.
  common::Buffer empty(0, 200);
  EXPECT_EQ(0, sender.SendTo(empty, receiverAddress, 1000));
  EXPECT_EQ(-1, receiver.ReceiveFrom(buffer, from, 20));
  ASSERT_EQ(0, ::sendto(sender.GetDescriptor(), "", 0, 0, reinterpret_cast<const sockaddr*>(&receiverAddress),
                        sizeof(receiverAddress)));
  EXPECT_EQ(0, receiver.ReceiveFrom(buffer, from, 5000));
  EXPECT_EQ(0u, buffer.GetSize());
}

TEST(UdpSocketTest, ConnectedPeersUseSendAndReceive) {
  common::UdpSocket a, b;
  for (common::UdpSocket* socket : {&a, &b}) {
    socket->Open();
    socket->Bind(Loopback());
  }
  a.Connect(LocalAddress(b));
  b.Connect(LocalAddress(a));
  common::Buffer out(32, 200);
  out.Append(0x42);
  out.Append(0x40);
  EXPECT_EQ(2, a.Send(out, 1000));
  common::Buffer in(0, 200);
  ASSERT_EQ(2, b.Receive(in, 5000));
  EXPECT_EQ(2u, in.GetCapacity());
  EXPECT_EQ(0x40, in[1]);
  EXPECT_EQ(-1, b.Receive(in, 10));
  EXPECT_EQ(0u, in.GetSize());
}

}  // namespace

#include "common/ParseAddress.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <cstring>

namespace {

TEST(ParseAddressTest, AcceptsDottedQuadAndDecimalPort) {
  sockaddr_in address;
  std::memset(&address, 0x5A, sizeof(address));
  ASSERT_TRUE(common::ParseAddress("10.0.0.1:4000", address));
  EXPECT_EQ(AF_INET, address.sin_family);
  const unsigned char* port = reinterpret_cast<const unsigned char*>(&address.sin_port);
  EXPECT_EQ(0x0F, port[0]);
  EXPECT_EQ(0xA0, port[1]);
  EXPECT_EQ(inet_addr("10.0.0.1"), address.sin_addr.s_addr);
  // The rest of the structure stays as the caller left it.
  EXPECT_EQ(0x5A, static_cast<unsigned char>(address.sin_zero[0]));

  // No range check: the low 16 bits are taken.
  ASSERT_TRUE(common::ParseAddress("127.0.0.1:65536", address));
  EXPECT_EQ(0, address.sin_port);
  ASSERT_TRUE(common::ParseAddress("127.0.0.1:0", address));
  EXPECT_EQ(0, address.sin_port);
}

TEST(ParseAddressTest, RefusesMalformedTexts) {
  sockaddr_in address{};
  for (const char* text :
       {"1.2.3.4", "1.2.3.4:", ":80", "1.2.3.4:80x", "1.2.3.4:80:90", "host:80", "255.255.255.255:80", ""}) {
    EXPECT_FALSE(common::ParseAddress(text, address)) << text;
  }
}

}  // namespace

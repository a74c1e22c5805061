#include "common/ParseAddress.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <cstring>

namespace {

TEST(ParseAddressTest, TakesDottedQuadAndDecimalPortAndRefusesTheRest) {
  sockaddr_in address;
  std::memset(&address, 0x5A, sizeof(address));
  ASSERT_TRUE(common::ParseAddress("10.0.0.1:4000", address));
  EXPECT_EQ(AF_INET, address.sin_family);
  EXPECT_EQ(htons(4000), address.sin_port);
  EXPECT_EQ(inet_addr("10.0.0.1"), address.sin_addr.s_addr);
  EXPECT_EQ(0x5A, static_cast<unsigned char>(address.sin_zero[0]));  // the rest stays as it was
  ASSERT_TRUE(common::ParseAddress("127.0.0.1:65536", address));     // no range check: the low 16 bits
  EXPECT_EQ(0, address.sin_port);
  for (const char* text :
       {"1.2.3.4", "1.2.3.4:", ":80", "1.2.3.4:80x", "1.2.3.4:80:90", "host:80", "255.255.255.255:80", ""}) {
    EXPECT_FALSE(common::ParseAddress(text, address)) << text;
  }
}

}  // namespace

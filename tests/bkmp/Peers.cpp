#include "bkmp/Peers.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>

namespace bkmptest {

namespace {
constexpr int kPeerWaitMs = 5000;  // bounded waits of the raw peer
}

MessagePtr NewMessage() {
  BKMPMessage message = nullptr;
  EXPECT_EQ(BKMP_OK, BKMPMessageCreate(&message));
  return MessagePtr(message);
}

MessagePtr AllTypesMessage() {
  MessagePtr message = NewMessage();
  EXPECT_EQ(BKMP_OK, BKMPSetFieldInt8(message.get(), "i8", -128));
  EXPECT_EQ(BKMP_OK, BKMPSetFieldUint8(message.get(), "u8", 255));
  EXPECT_EQ(BKMP_OK, BKMPSetFieldInt16(message.get(), "i16", -32768));
  EXPECT_EQ(BKMP_OK, BKMPSetFieldUint16(message.get(), "u16", 65535));
  EXPECT_EQ(BKMP_OK, BKMPSetFieldInt32(message.get(), "i32", -2147483647 - 1));
  EXPECT_EQ(BKMP_OK, BKMPSetFieldInt32(message.get(), "u32", static_cast<int32_t>(0xFEDCBA98u)));
  EXPECT_EQ(BKMP_OK, BKMPSetFieldLong64(message.get(), "i64", -0x0123456789ABCDEFLL));
  EXPECT_EQ(BKMP_OK, BKMPSetFieldBool(message.get(), "yes", 42));
  EXPECT_EQ(BKMP_OK, BKMPSetFieldBool(message.get(), "no", 0));
  EXPECT_EQ(BKMP_OK, BKMPSetFieldReal(message.get(), "real", -1234.5e-7));
  EXPECT_EQ(BKMP_OK, BKMPSetFieldStr(message.get(), "text",
                                     "Stra\xC3\x9F"
                                     "e 1"));
  EXPECT_EQ(BKMP_OK, BKMPSetFieldStr(message.get(), "empty", ""));
  EXPECT_EQ(BKMP_OK, BKMPSetFieldUniStr(message.get(), "wide", L"Z\u00FCrich \U0001F69A"));
  return message;
}

void ExpectAllTypes(BKMPMessage message, const std::string& where) {
  SCOPED_TRACE(where);
  int8_t i8 = 0;
  uint8_t u8 = 0;
  int16_t i16 = 0;
  uint16_t u16 = 0;
  int32_t i32 = 0;
  uint32_t u32 = 0;
  int64_t i64 = 0;
  int yes = 0;
  int no = 1;
  double real = 0;
  char text[32];
  char empty[4] = "x";
  wchar_t wide[32];
  EXPECT_EQ(BKMP_OK, BKMPGetFieldInt8(message, "i8", &i8));
  EXPECT_EQ(-128, i8);
  EXPECT_EQ(BKMP_OK, BKMPGetFieldUint8(message, "u8", &u8));
  EXPECT_EQ(255, u8);
  EXPECT_EQ(BKMP_OK, BKMPGetFieldInt16(message, "i16", &i16));
  EXPECT_EQ(-32768, i16);
  EXPECT_EQ(BKMP_OK, BKMPGetFieldUint16(message, "u16", &u16));
  EXPECT_EQ(65535, u16);
  EXPECT_EQ(BKMP_OK, BKMPGetFieldInt32(message, "i32", &i32));
  EXPECT_EQ(-2147483647 - 1, i32);
  EXPECT_EQ(BKMP_OK, BKMPGetFieldUint32(message, "u32", &u32));
  EXPECT_EQ(0xFEDCBA98u, u32);
  EXPECT_EQ(BKMP_OK, BKMPGetFieldLong64(message, "i64", &i64));
  EXPECT_EQ(-0x0123456789ABCDEFLL, i64);
  EXPECT_EQ(BKMP_OK, BKMPGetFieldBool(message, "yes", &yes));
  EXPECT_EQ(1, yes);
  EXPECT_EQ(BKMP_OK, BKMPGetFieldBool(message, "no", &no));
  EXPECT_EQ(0, no);
  EXPECT_EQ(BKMP_OK, BKMPGetFieldReal(message, "real", &real));
  EXPECT_EQ(-1234.5e-7, real);
  EXPECT_EQ(BKMP_OK, BKMPGetFieldStr(message, "text", text, sizeof(text)));
  EXPECT_STREQ(
      "Stra\xC3\x9F"
      "e 1",
      text);
  EXPECT_EQ(BKMP_OK, BKMPGetFieldStr(message, "empty", empty, sizeof(empty)));
  EXPECT_STREQ("", empty);
  EXPECT_EQ(BKMP_OK, BKMPGetFieldUniStr(message, "wide", wide, 32));
  EXPECT_EQ(std::wstring(L"Z\u00FCrich \U0001F69A"), wide);
  // The types travel too: a field read as another type still fails.
  EXPECT_EQ(BKMP_E_TYPE, BKMPGetFieldInt8(message, "u8", &i8));
  EXPECT_EQ(BKMP_E_TYPE, BKMPGetFieldInt16(message, "u16", &i16));
  EXPECT_EQ(BKMP_E_TYPE, BKMPGetFieldStr(message, "wide", text, sizeof(text)));
}

std::vector<uint8_t> Frame(BKMPMessage message) {
  int length = 0;
  EXPECT_EQ(BKMP_E_NOMEM, BKMPMessageEncode(message, nullptr, 0, &length));
  std::vector<uint8_t> frame(static_cast<size_t>(length));
  EXPECT_EQ(BKMP_OK, BKMPMessageEncode(message, frame.data(), length, &length));
  EXPECT_EQ(frame.size(), static_cast<size_t>(length));
  return frame;
}

ServerPtr ListeningServer(const std::string& path, int timeout) {
  BKMPServer server = nullptr;
  EXPECT_EQ(BKMP_OK, BKMPServerCreate(&server, timeout, 1, 1));
  ServerPtr owned(server);
  const int result = BKMPServerListen(server, path.c_str());
  EXPECT_EQ(BKMP_OK, result) << BKMPErrorString(result);
  return result == BKMP_OK ? std::move(owned) : nullptr;
}

ConnectionPtr ConnectedClient(const std::string& path, int timeout) {
  BKMPConnection connection = nullptr;
  EXPECT_EQ(BKMP_OK, BKMPConnectionCreate(&connection, timeout));
  ConnectionPtr owned(connection);
  const int result = BKMPConnectionConnectTimeout(connection, path.c_str(), 1000000);
  EXPECT_EQ(BKMP_OK, result) << BKMPErrorString(result);
  return result == BKMP_OK ? std::move(owned) : nullptr;
}

ConnectionPtr AcceptOne(BKMPServer server) {
  BKMPConnection connection = nullptr;
  const int result = BKMPServerAccept(server, &connection);
  EXPECT_EQ(BKMP_OK, result) << BKMPErrorString(result);
  return ConnectionPtr(result == BKMP_OK ? connection : nullptr);
}

RawPeer::RawPeer(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
  fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd >= 0 && connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) {
    Close();
  }
}

RawPeer::~RawPeer() { Close(); }

void RawPeer::Close() {
  if (fd >= 0) {
    close(fd);
    fd = -1;
  }
}

void RawPeer::Write(const std::vector<uint8_t>& bytes) {
  size_t done = 0;
  while (fd >= 0 && done < bytes.size()) {
    const ssize_t count = send(fd, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
    ASSERT_GT(count, 0) << "raw peer: send failed";
    done += static_cast<size_t>(count);
  }
}

bool RawPeer::SeesEndOfStream() {
  for (;;) {
    pollfd entry{fd, POLLIN, 0};
    if (poll(&entry, 1, kPeerWaitMs) != 1) {
      return false;
    }
    char byte[256];
    const ssize_t count = recv(fd, byte, sizeof(byte), 0);
    if (count <= 0) {
      return true;  // end of stream, or reset by the other side
    }
  }
}

std::vector<uint8_t> RawPeer::ReadFrame() {
  std::vector<uint8_t> frame;
  size_t wanted = 12;
  while (frame.size() < wanted) {
    pollfd entry{fd, POLLIN, 0};
    if (poll(&entry, 1, kPeerWaitMs) != 1) {
      return {};
    }
    uint8_t byte = 0;
    if (recv(fd, &byte, 1, 0) != 1) {
      return {};
    }
    frame.push_back(byte);
    if (frame.size() == 12) {
      wanted += frame[8] | frame[9] << 8 | frame[10] << 16 | static_cast<size_t>(frame[11]) << 24;
    }
  }
  return frame;
}

}  // namespace bkmptest

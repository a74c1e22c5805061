#include "bkmp/Helpers.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>

namespace bkmptest {

MessagePtr NewMessage() {
  BKMPMessage message = nullptr;
  EXPECT_EQ(BKMP_OK, BKMPMessageCreate(&message));
  return MessagePtr(message);
}

MessagePtr AllTypesMessage() {
  MessagePtr m = NewMessage();
  const int results[] = {
      BKMPSetFieldInt8(m.get(), "i8", -128),
      BKMPSetFieldUint8(m.get(), "u8", 255),
      BKMPSetFieldInt16(m.get(), "i16", -32768),
      BKMPSetFieldUint16(m.get(), "u16", 65535),
      BKMPSetFieldInt32(m.get(), "i32", -2147483647 - 1),
      BKMPSetFieldLong64(m.get(), "i64", -0x0123456789ABCDEFLL),
      BKMPSetFieldBool(m.get(), "yes", 42),
      BKMPSetFieldBool(m.get(), "no", 0),
      BKMPSetFieldReal(m.get(), "real", -1234.5e-7),
      BKMPSetFieldStr(m.get(), "text",
                      "Stra\xC3\x9F"
                      "e 1"),
      BKMPSetFieldStr(m.get(), "empty", ""),
      BKMPSetFieldUniStr(m.get(), "wide", L"Z\u00FCrich \U0001F69A"),
  };
  for (int result : results) {
    EXPECT_EQ(BKMP_OK, result);
  }
  return m;
}

MessagePtr Numbered(int thread, int n, size_t padding) {
  MessagePtr message = NewMessage();
  EXPECT_EQ(BKMP_OK, BKMPSetFieldInt32(message.get(), "thread", thread));
  EXPECT_EQ(BKMP_OK, BKMPSetFieldInt32(message.get(), "n", n));
  EXPECT_EQ(BKMP_OK, BKMPSetFieldStr(message.get(), "pad", std::string(padding, 'p').c_str()));
  return message;
}

int GetInt(BKMPMessage message, const char* key) {
  int32_t value = -1;
  EXPECT_EQ(BKMP_OK, BKMPGetFieldInt32(message, key, &value)) << key;
  return value;
}

Bytes Frame(BKMPMessage message) {
  int length = 0;
  EXPECT_EQ(BKMP_E_NOMEM, BKMPMessageEncode(message, nullptr, 0, &length));
  Bytes frame(static_cast<size_t>(length));
  EXPECT_EQ(BKMP_OK, BKMPMessageEncode(message, frame.data(), length, &length));
  return frame;
}

const Bytes kExample = {0x42, 0x4B, 0x4D, 0x50, 0x01, 0x00, 0x05, 0x00, 0x3B, 0x00, 0x00, 0x00,  // header
                        0x09, 0x4D, 0x65, 0x73, 0x73, 0x61, 0x67, 0x65, 0x49, 0x44, 0x01, 0x03,  // MessageID
                        0x02, 0x49, 0x64, 0x05, 0xFE, 0xFF, 0xFF, 0xFF,                          // Id
                        0x06, 0x52, 0x65, 0x6D, 0x6F, 0x74, 0x65, 0x07, 0x01,                    // Remote
                        0x04, 0x54, 0x65, 0x78, 0x74, 0x09, 0x02, 0x00, 0x48, 0x69,              // Text
                        0x04, 0x4E, 0x61, 0x6D, 0x65, 0x0A, 0x03, 0x00, 0x5A, 0x00, 0x00, 0x00,
                        0x6F, 0x00,  // Name
                        0x00, 0x00, 0xEB, 0x00, 0x00, 0x00};

MessagePtr ExampleMessage() {
  MessagePtr message = NewMessage();
  EXPECT_EQ(BKMP_OK, BKMPSetFieldInt8(message.get(), "MessageID", 3));
  EXPECT_EQ(BKMP_OK, BKMPSetFieldInt32(message.get(), "Id", -2));
  EXPECT_EQ(BKMP_OK, BKMPSetFieldBool(message.get(), "Remote", 1));
  EXPECT_EQ(BKMP_OK, BKMPSetFieldStr(message.get(), "Text", "Hi"));
  EXPECT_EQ(BKMP_OK, BKMPSetFieldUniStr(message.get(), "Name", L"Zo\u00EB"));
  return message;
}

std::vector<std::pair<std::string, Bytes>> MalformedFrames() {
  // The example with bytes changed at offsets (see the layout above).
  auto broken = [](std::initializer_list<std::pair<size_t, uint8_t>> changes) {
    Bytes bytes = kExample;
    for (const auto& change : changes) {
      bytes.at(change.first) = change.second;
    }
    return bytes;
  };
  Bytes cut = kExample;
  cut.pop_back();
  cut[8] -= 1;  // the body length follows, so the last character is cut
  return {
      {"bad magic", broken({{3, 'Q'}})},
      {"unknown version", broken({{4, 0x02}})},
      {"flags set", broken({{5, 0x01}})},
      {"more fields than the body holds", broken({{6, 6}})},
      {"bytes after the last field", broken({{6, 4}})},
      {"body length above the limit", broken({{8, 0xF5}, {9, 0xFF}, {10, 0x0F}})},
      {"key length 0", broken({{12, 0x00}})},
      {"key length 128", broken({{12, 0x80}})},
      {"key with a zero byte", broken({{14, 0x00}})},
      {"type 0", broken({{22, 0x00}})},
      {"type 11", broken({{22, 0x0B}})},
      {"bool 2", broken({{40, 0x02}})},
      {"text longer than the body", broken({{47, 0x20}})},
      {"text with a zero byte", broken({{49, 0x00}})},
      {"the same key twice", broken({{52, 'T'}, {53, 'e'}, {54, 'x'}, {55, 't'}})},
      {"wide character 0", broken({{59, 0x00}})},
      {"wide character a surrogate", broken({{59, 0x00}, {60, 0xD8}})},
      {"wide character above 0x10FFFF", broken({{61, 0x11}})},
      {"last value cut short", cut},
  };
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
  const int result = BKMPConnectionConnectTimeout(connection, path.c_str(), kSecond);
  EXPECT_EQ(BKMP_OK, result) << BKMPErrorString(result);
  return result == BKMP_OK ? std::move(owned) : nullptr;
}

ConnectionPtr AcceptOne(BKMPServer server) {
  BKMPConnection connection = nullptr;
  const int result = BKMPServerAccept(server, &connection);
  EXPECT_EQ(BKMP_OK, result) << BKMPErrorString(result);
  return ConnectionPtr(result == BKMP_OK ? connection : nullptr);
}

MessagePtr ReceiveOne(BKMPConnection connection, int* result) {
  int last = BKMP_E_TIMEOUT;
  BKMPMessage message = nullptr;
  for (int attempt = 0; attempt < 50 && last == BKMP_E_TIMEOUT; ++attempt) {
    last = BKMPConnectionReceive(connection, &message);
  }
  if (result != nullptr) {
    *result = last;
  } else {
    EXPECT_EQ(BKMP_OK, last) << BKMPErrorString(last);
  }
  return MessagePtr(last == BKMP_OK ? message : nullptr);
}

RawPeer::RawPeer(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
  fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd >= 0 && connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) {
    close(fd);
    fd = -1;
  }
}

RawPeer::~RawPeer() {
  if (fd >= 0) {
    close(fd);
  }
}

void RawPeer::Write(const Bytes& bytes) {
  size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t count = send(fd, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
    ASSERT_GT(count, 0) << "raw peer: send failed";
    done += static_cast<size_t>(count);
  }
}

bool RawPeer::SeesEndOfStream() {
  char bytes[256];
  for (;;) {
    pollfd entry{fd, POLLIN, 0};
    if (poll(&entry, 1, 5000) != 1) {
      return false;
    }
    if (recv(fd, bytes, sizeof(bytes), 0) <= 0) {
      return true;  // end of stream, or reset by the other side
    }
  }
}

}  // namespace bkmptest

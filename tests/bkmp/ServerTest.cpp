// Servers: accepting with a time-out, and the socket file: its mode, stale
// files of dead processes, live servers, things that aren't sockets.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <string>

#include "bkmp/Peers.h"
#include "support/TempDir.h"

namespace {

using bkmptest::ConnectionPtr;
using bkmptest::ServerPtr;
using Clock = std::chrono::steady_clock;

constexpr int kSecond = 1000000;

bool IsSocket(const std::string& path, mode_t* mode = nullptr) {
  struct stat info {};
  if (lstat(path.c_str(), &info) != 0 || !S_ISSOCK(info.st_mode)) {
    return false;
  }
  if (mode != nullptr) {
    *mode = info.st_mode & 07777;
  }
  return true;
}

// What a process that died while listening leaves behind: a socket file
// with nobody listening on it.
void LeaveStaleSocket(const std::string& path) {
  const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
  ASSERT_GE(fd, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
  ASSERT_EQ(0, bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)));
  ASSERT_EQ(0, listen(fd, 1));
  close(fd);
  ASSERT_TRUE(IsSocket(path));
}

// A client connects to path and one message crosses to a connection that
// server accepts. A connection that is closed at once (a probe) is skipped.
void ExpectServes(BKMPServer server, const std::string& path) {
  ConnectionPtr client = bkmptest::ConnectedClient(path, kSecond);
  ASSERT_NE(nullptr, client);
  ASSERT_EQ(BKMP_OK, BKMPConnectionSend(client.get(), bkmptest::AllTypesMessage().get()));
  for (int attempt = 0; attempt < 3; ++attempt) {
    ConnectionPtr accepted = bkmptest::AcceptOne(server);
    ASSERT_NE(nullptr, accepted);
    BKMPMessage message = nullptr;
    const int result = BKMPConnectionReceive(accepted.get(), &message);
    if (result == BKMP_OK) {
      bkmptest::MessagePtr owned(message);
      bkmptest::ExpectAllTypes(message, "served");
      return;
    }
    ASSERT_EQ(BKMP_E_CLOSED, result);
  }
  ADD_FAILURE() << "no connection delivered the message";
}

class ServerTest : public ::testing::Test {
 protected:
  testsupport::TempDir dir;
  const std::string path = dir.File("nav.sock");
};

TEST_F(ServerTest, AcceptWaitsAtMostTheTimeout) {
  BKMPServer server = nullptr;
  EXPECT_EQ(BKMP_E_INVALID, BKMPServerCreate(&server, -1, 1, 1));
  ASSERT_EQ(BKMP_OK, BKMPServerCreate(&server, 30000, 1, 1));
  ServerPtr owned(server);
  BKMPConnection connection = reinterpret_cast<BKMPConnection>(1);
  EXPECT_EQ(BKMP_E_INVALID, BKMPServerAccept(server, &connection));  // not listening yet

  ASSERT_EQ(BKMP_OK, BKMPServerListen(server, path.c_str()));
  EXPECT_EQ(BKMP_E_INVALID, BKMPServerListen(server, dir.File("other.sock").c_str()));
  const Clock::time_point start = Clock::now();
  EXPECT_EQ(BKMP_E_TIMEOUT, BKMPServerAccept(server, &connection));
  EXPECT_GE(Clock::now() - start, std::chrono::microseconds(30000));
  EXPECT_EQ(nullptr, connection);
  EXPECT_EQ(-1010, BKMPServerAccept(server, &connection));
  ExpectServes(server, path);
}

TEST_F(ServerTest, TheSocketFileIsReadAndWriteForOwnerAndGroupWhateverTheUmask) {
  for (mode_t mask : {0000, 0077, 0022, 0002}) {
    SCOPED_TRACE(mask);
    const mode_t previous = umask(mask);
    ServerPtr server = bkmptest::ListeningServer(path, kSecond);
    umask(previous);
    ASSERT_NE(nullptr, server);
    mode_t mode = 0;
    ASSERT_TRUE(IsSocket(path, &mode));
    EXPECT_EQ(0660u, mode);
  }
}

TEST_F(ServerTest, AStaleSocketFileIsReplacedAndALiveOneIsNotStolen) {
  LeaveStaleSocket(path);
  ServerPtr first = bkmptest::ListeningServer(path, kSecond);
  ASSERT_NE(nullptr, first);
  ExpectServes(first.get(), path);

  // A second server finds the first one alive, fails, and leaves it be.
  BKMPServer second = nullptr;
  ASSERT_EQ(BKMP_OK, BKMPServerCreate(&second, kSecond, 1, 1));
  ServerPtr secondOwned(second);
  EXPECT_EQ(BKMP_E_ADDRESS, BKMPServerListen(second, path.c_str()));
  ExpectServes(first.get(), path);

  // Once the first one has gone, the second one's next try works.
  first.reset();
  EXPECT_FALSE(IsSocket(path));
  ASSERT_EQ(BKMP_OK, BKMPServerListen(second, path.c_str()));
  ExpectServes(second, path);
}

TEST_F(ServerTest, WhatIsntASocketIsNeverRemoved) {
  testsupport::WriteFile(path, "precious");
  BKMPServer server = nullptr;
  ASSERT_EQ(BKMP_OK, BKMPServerCreate(&server, kSecond, 1, 1));
  ServerPtr owned(server);
  EXPECT_EQ(BKMP_E_ADDRESS, BKMPServerListen(server, path.c_str()));
  EXPECT_EQ("precious", testsupport::ReadFile(path));

  // Nor a link to a stale socket, nor a folder.
  const std::string stale = dir.File("stale.sock");
  LeaveStaleSocket(stale);
  const std::string link = dir.File("link.sock");
  ASSERT_EQ(0, symlink(stale.c_str(), link.c_str()));
  EXPECT_EQ(BKMP_E_ADDRESS, BKMPServerListen(server, link.c_str()));
  EXPECT_EQ(0, access(link.c_str(), F_OK));
  EXPECT_EQ(BKMP_E_ADDRESS, BKMPServerListen(server, dir.Path().c_str()));

  // Not listening after all that, so the server can still take an address.
  EXPECT_EQ(BKMP_OK, BKMPServerListen(server, stale.c_str()));
}

TEST_F(ServerTest, ListenCanBeTriedAgainUntilTheAddressIsThere) {
  const std::string folder = dir.File("run");
  const std::string later = folder + "/nav.sock";
  BKMPServer server = nullptr;
  ASSERT_EQ(BKMP_OK, BKMPServerCreate(&server, kSecond, 1, 1));
  ServerPtr owned(server);
  EXPECT_EQ(BKMP_E_ADDRESS, BKMPServerListen(server, later.c_str()));
  EXPECT_EQ(BKMP_E_ADDRESS, BKMPServerListen(server, (dir.Path() + "/" + std::string(110, 'n')).c_str()));
  EXPECT_EQ(BKMP_E_ADDRESS, BKMPServerListen(server, ""));
  ASSERT_EQ(0, mkdir(folder.c_str(), 0700));
  ASSERT_EQ(BKMP_OK, BKMPServerListen(server, later.c_str()));
  ExpectServes(server, later);
}

TEST_F(ServerTest, DestroyRemovesOnlyItsOwnFileAndAcceptedConnectionsLiveOn) {
  ServerPtr server = bkmptest::ListeningServer(path, kSecond);
  ASSERT_NE(nullptr, server);
  ConnectionPtr client = bkmptest::ConnectedClient(path, kSecond);
  ASSERT_NE(nullptr, client);
  ConnectionPtr accepted = bkmptest::AcceptOne(server.get());
  ASSERT_NE(nullptr, accepted);
  server.reset();
  EXPECT_FALSE(IsSocket(path));

  // With no server left, a second client finds nobody...
  BKMPConnection second = nullptr;
  ASSERT_EQ(BKMP_OK, BKMPConnectionCreate(&second, kSecond));
  ConnectionPtr secondOwned(second);
  EXPECT_EQ(BKMP_E_CONNECT, BKMPConnectionConnectTimeout(second, path.c_str(), 1000));

  // ...while the accepted connection works both ways.
  ASSERT_EQ(BKMP_OK, BKMPConnectionSend(accepted.get(), bkmptest::AllTypesMessage().get()));
  BKMPMessage message = nullptr;
  ASSERT_EQ(BKMP_OK, BKMPConnectionReceive(client.get(), &message));
  bkmptest::MessagePtr owned(message);
  ASSERT_EQ(BKMP_OK, BKMPConnectionSend(client.get(), message));
  ASSERT_EQ(BKMP_OK, BKMPConnectionReceive(accepted.get(), &message));
  owned.reset(message);
  bkmptest::ExpectAllTypes(message, "after the server went");

  // A server whose file was replaced by another server's leaves that one be.
  ServerPtr old = bkmptest::ListeningServer(path, kSecond);
  ASSERT_EQ(0, unlink(path.c_str()));
  ServerPtr replacement = bkmptest::ListeningServer(path, kSecond);
  ASSERT_NE(nullptr, replacement);
  old.reset();
  EXPECT_TRUE(IsSocket(path));
  ExpectServes(replacement.get(), path);
}

}  // namespace

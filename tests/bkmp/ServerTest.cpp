// The socket file of a server: its mode, stale files of dead processes,
// live servers, things that aren't sockets, and its removal.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <string>

#include "bkmp/Helpers.h"
#include "support/NoStandardInput.h"
#include "support/TempDir.h"

namespace {

using namespace bkmptest;

mode_t SocketMode(const std::string& path) {  // 0 when path isn't a socket
  struct stat info {};
  return lstat(path.c_str(), &info) == 0 && S_ISSOCK(info.st_mode) ? info.st_mode & 07777 : 0;
}

// What a process that died while listening leaves: a socket file nobody listens on.
void LeaveStaleSocket(const std::string& path) {
  const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
  ASSERT_EQ(0, bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)));
  ASSERT_EQ(0, listen(fd, 1));
  close(fd);
  ASSERT_NE(0u, SocketMode(path));
}

// A client connects and a message reaches a connection the server accepts;
// a connection that closes at once (another server's probe) is skipped.
void ExpectServes(BKMPServer server, const std::string& path) {
  ConnectionPtr client = ConnectedClient(path);
  ASSERT_NE(nullptr, client);
  ASSERT_EQ(BKMP_OK, BKMPConnectionSend(client.get(), ExampleMessage().get()));
  int result = BKMP_E_CLOSED;
  for (int attempt = 0; attempt < 3 && result == BKMP_E_CLOSED; ++attempt) {
    ConnectionPtr accepted = AcceptOne(server);
    ASSERT_NE(nullptr, accepted);
    ReceiveOne(accepted.get(), &result);
  }
  EXPECT_EQ(BKMP_OK, result);
}

size_t OpenDescriptors() {
  size_t count = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    count += entry.is_symlink() ? 1 : 0;
  }
  return count;
}

class ServerTest : public ::testing::Test {
 protected:
  BKMPServer NewServer() {
    BKMPServer server = nullptr;
    EXPECT_EQ(BKMP_OK, BKMPServerCreate(&server, kSecond, 1, 1));
    servers.emplace_back(server);
    return server;
  }

  testsupport::TempDir dir;
  const std::string path = dir.File("nav.sock");
  std::vector<ServerPtr> servers;
};

TEST_F(ServerTest, TheSocketFileIsForOwnerAndGroupWhateverTheUmask) {
  for (mode_t mask : {0000, 0077, 0022, 0002}) {
    const mode_t previous = umask(mask);
    ServerPtr server = ListeningServer(path, kSecond);
    umask(previous);
    ASSERT_NE(nullptr, server);
    EXPECT_EQ(0660u, SocketMode(path)) << "umask " << mask;
  }
}

TEST_F(ServerTest, AStaleSocketFileIsReplacedAndALiveOneIsNotStolen) {
  LeaveStaleSocket(path);
  ServerPtr first = ListeningServer(path, kSecond);
  ASSERT_NE(nullptr, first);
  ExpectServes(first.get(), path);

  const size_t descriptors = OpenDescriptors();
  BKMPServer second = NewServer();
  EXPECT_EQ(BKMP_E_ADDRESS, BKMPServerListen(second, path.c_str()));
  EXPECT_EQ(descriptors, OpenDescriptors());  // its probe is closed again
  ExpectServes(first.get(), path);

  first.reset();  // removes its file; the second server's next try works
  EXPECT_EQ(0u, SocketMode(path));
  ASSERT_EQ(BKMP_OK, BKMPServerListen(second, path.c_str()));
  EXPECT_EQ(BKMP_E_INVALID, BKMPServerListen(second, dir.File("other.sock").c_str()));
  ExpectServes(second, path);
}

TEST_F(ServerTest, WhatIsntASocketIsNeverRemovedAndListenCanBeTriedAgain) {
  const size_t descriptors = OpenDescriptors();
  BKMPServer server = NewServer();
  BKMPConnection connection = nullptr;
  EXPECT_EQ(BKMP_E_INVALID, BKMPServerAccept(server, &connection));  // not listening

  testsupport::WriteFile(path, "precious");
  EXPECT_EQ(BKMP_E_ADDRESS, BKMPServerListen(server, path.c_str()));
  EXPECT_EQ("precious", testsupport::ReadFile(path));
  // A link is removed itself, never followed: its target stays.
  const std::string stale = dir.File("stale.sock");
  const std::string link = dir.File("link.sock");
  LeaveStaleSocket(stale);
  ASSERT_EQ(0, symlink(stale.c_str(), link.c_str()));
  ServerPtr atLink = ListeningServer(link, kSecond);
  EXPECT_NE(nullptr, atLink);
  EXPECT_NE(0u, SocketMode(link));
  EXPECT_NE(0u, SocketMode(stale));
  atLink.reset();
  EXPECT_EQ(BKMP_E_ADDRESS, BKMPServerListen(server, dir.Path().c_str()));
  EXPECT_EQ(BKMP_E_ADDRESS, BKMPServerListen(server, (dir.Path() + "/" + std::string(110, 'n')).c_str()));

  // A folder that isn't there yet: fails until it is.
  const std::string later = dir.File("run") + "/nav.sock";
  EXPECT_EQ(BKMP_E_ADDRESS, BKMPServerListen(server, later.c_str()));
  EXPECT_EQ(descriptors, OpenDescriptors());  // failures leave no descriptor behind
  ASSERT_EQ(0, mkdir(dir.File("run").c_str(), 0700));
  ASSERT_EQ(BKMP_OK, BKMPServerListen(server, later.c_str()));
  ExpectServes(server, later);
}

// A daemon started without standard input: its listening socket is then
// descriptor 0, which is as good as any other.
TEST_F(ServerTest, AServerOnDescriptorZeroServes) {
  testsupport::NoStandardInput closed;
  ServerPtr server = ListeningServer(path, kSecond);
  ASSERT_NE(nullptr, server);
  ExpectServes(server.get(), path);
}

TEST_F(ServerTest, DestroyRemovesOnlyItsOwnFileAndAcceptedConnectionsLiveOn) {
  ServerPtr server = ListeningServer(path, kSecond);
  ASSERT_NE(nullptr, server);
  ConnectionPtr client = ConnectedClient(path);
  ASSERT_NE(nullptr, client);
  ConnectionPtr accepted = AcceptOne(server.get());
  ASSERT_NE(nullptr, accepted);
  server.reset();
  EXPECT_EQ(0u, SocketMode(path));

  BKMPConnection second = nullptr;  // nobody listens now...
  ASSERT_EQ(BKMP_OK, BKMPConnectionCreate(&second, kSecond));
  ConnectionPtr secondOwned(second);
  EXPECT_EQ(BKMP_E_CONNECT, BKMPConnectionConnectTimeout(second, path.c_str(), 1000));
  ASSERT_EQ(BKMP_OK, BKMPConnectionSend(accepted.get(), ExampleMessage().get()));  // ...yet this works
  MessagePtr received = ReceiveOne(client.get());
  ASSERT_NE(nullptr, received);
  ASSERT_EQ(BKMP_OK, BKMPConnectionSend(client.get(), received.get()));
  EXPECT_NE(nullptr, ReceiveOne(accepted.get()));

  // A server whose name was taken over by another server leaves that one be.
  ServerPtr old = ListeningServer(path, kSecond);
  ASSERT_EQ(0, unlink(path.c_str()));
  ServerPtr replacement = ListeningServer(path, kSecond);
  ASSERT_NE(nullptr, replacement);
  old.reset();
  ExpectServes(replacement.get(), path);
}

}  // namespace

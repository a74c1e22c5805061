#pragma once

// Helpers of the library's tests: owning handles, sample messages and
// frames, connected peers, and a raw socket peer that sends any bytes.

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "bkmp/bkmp.h"

namespace bkmptest {

struct Deleter {
  void operator()(BKMPMessageObject* m) const { BKMPMessageDestroy(m); }
  void operator()(BKMPConnectionObject* c) const { BKMPConnectionDestroy(c); }
  void operator()(BKMPServerObject* s) const { BKMPServerDestroy(s); }
};
using MessagePtr = std::unique_ptr<BKMPMessageObject, Deleter>;
using ConnectionPtr = std::unique_ptr<BKMPConnectionObject, Deleter>;
using ServerPtr = std::unique_ptr<BKMPServerObject, Deleter>;
using Bytes = std::vector<uint8_t>;

constexpr int kSecond = 1000000;

MessagePtr NewMessage();
// One field of each type, with extreme values.
MessagePtr AllTypesMessage();
// A message with fields "thread" and "n" and a text of padding bytes.
MessagePtr Numbered(int thread, int n, size_t padding = 0);
int GetInt(BKMPMessage message, const char* key);

// The frame of a message (BKMPMessageEncode). Frames are one form per
// message, so equal frames mean equal fields, types and values.
Bytes Frame(BKMPMessage message);

// The worked example of the wire format document, and its message.
extern const Bytes kExample;
MessagePtr ExampleMessage();
// Broken variants of the example, each with what is wrong with it.
std::vector<std::pair<std::string, Bytes>> MalformedFrames();

// Null, with a gtest failure, when they fail.
ServerPtr ListeningServer(const std::string& path, int timeout);
ConnectionPtr ConnectedClient(const std::string& path, int timeout = kSecond);
ConnectionPtr AcceptOne(BKMPServer server);
// Receives one message, allowing some time-outs first; the last result goes
// to result, or is expected to be BKMP_OK without it.
MessagePtr ReceiveOne(BKMPConnection connection, int* result = nullptr);

// A peer on a plain socket, to send what the library itself never would.
class RawPeer {
 public:
  explicit RawPeer(const std::string& path);
  ~RawPeer();
  RawPeer(const RawPeer&) = delete;
  RawPeer& operator=(const RawPeer&) = delete;
  bool Connected() const { return fd >= 0; }
  void Write(const Bytes& bytes);
  // Waits (bounded) until the other side has closed: true when it has.
  bool SeesEndOfStream();

 private:
  int fd = -1;
};

}  // namespace bkmptest

#pragma once

// Helpers of the library's tests: owning handles, a message with a field of
// every type, and a raw socket peer that can send any bytes at all.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "bkmp/bkmp.h"

namespace bkmptest {

struct MessageDeleter {
  void operator()(BKMPMessageObject* m) const { BKMPMessageDestroy(m); }
};
struct ConnectionDeleter {
  void operator()(BKMPConnectionObject* c) const { BKMPConnectionDestroy(c); }
};
struct ServerDeleter {
  void operator()(BKMPServerObject* s) const { BKMPServerDestroy(s); }
};
using MessagePtr = std::unique_ptr<BKMPMessageObject, MessageDeleter>;
using ConnectionPtr = std::unique_ptr<BKMPConnectionObject, ConnectionDeleter>;
using ServerPtr = std::unique_ptr<BKMPServerObject, ServerDeleter>;

MessagePtr NewMessage();

// A message with one field of each type, extreme values where they matter,
// and its check (gtest expectations, tagged with where).
MessagePtr AllTypesMessage();
void ExpectAllTypes(BKMPMessage message, const std::string& where);

// The frame of a message, through BKMPMessageEncode.
std::vector<uint8_t> Frame(BKMPMessage message);

// A server listening at path with the given time-out (microseconds); null
// (with a gtest failure) when it can't.
ServerPtr ListeningServer(const std::string& path, int timeout);
// A client connected to path; null (with a gtest failure) when it can't.
ConnectionPtr ConnectedClient(const std::string& path, int timeout);
// Accepts one connection; null (with a gtest failure) when none came.
ConnectionPtr AcceptOne(BKMPServer server);

// A peer on a plain socket, to send what the library itself never would.
class RawPeer {
 public:
  explicit RawPeer(const std::string& path);  // connects; Connected() tells
  ~RawPeer();
  RawPeer(const RawPeer&) = delete;
  RawPeer& operator=(const RawPeer&) = delete;

  bool Connected() const { return fd >= 0; }
  void Write(const std::vector<uint8_t>& bytes);
  void Close();
  // Waits (bounded) until the other side has closed: true when it has.
  bool SeesEndOfStream();
  // Reads one whole frame (bounded wait); empty on failure.
  std::vector<uint8_t> ReadFrame();

 private:
  int fd = -1;
};

}  // namespace bkmptest

#pragma once

#include <netinet/in.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace linktest {

using Bytes = std::vector<uint8_t>;

// "42 83 01" for messages.
std::string Hex(const Bytes& bytes);
// Microseconds of the system clock, the clock of the timers under test and
// of the kernel's receive timestamps.
int64_t NowUs();

sockaddr_in Loopback(const char* host = "127.0.0.1", uint16_t port = 0);

// One transport packet as the unit received it, stamped by the kernel at its
// arrival (so a test thread that reads late doesn't distort intervals).
struct Frame {
  Bytes bytes;
  int64_t atUs = 0;

  bool IsType(uint8_t type) const { return bytes.size() >= 3 && (bytes[1] & 0x0F) == type; }
  bool IsData() const { return IsType(3); }
  bool IsAck() const { return IsType(4); }
  bool IsKeepAlive() const { return IsType(5); }
  uint8_t Sequence() const { return bytes.size() >= 3 ? bytes[2] : 0; }
  Bytes Payload() const { return bytes.size() > 3 ? Bytes(bytes.begin() + 3, bytes.end()) : Bytes(); }
  uint16_t Session() const { return bytes.size() >= 7 ? static_cast<uint16_t>(bytes[5] | bytes[6] << 8) : 0; }
};

// The unit's side of the transport, scripted by the test packet by packet on
// a plain loopback socket: it sends with the unit's direction bits (01) and
// sees exactly the bytes the device sends. Independent of the code under
// test, so that the bytes are checked against the wire form itself.
class ScriptedUnit {
 public:
  explicit ScriptedUnit(const char* host = "127.0.0.1");
  ~ScriptedUnit();
  ScriptedUnit(const ScriptedUnit&) = delete;
  ScriptedUnit& operator=(const ScriptedUnit&) = delete;

  sockaddr_in Address() const { return address; }
  void SetDevice(const sockaddr_in& deviceAddress) { device = deviceAddress; }

  void SendRaw(const Bytes& bytes);
  void SendConnectRequest(uint16_t session, uint16_t version = 0x0301);
  void SendData(uint8_t sequence, const Bytes& payload);
  void SendAck(uint8_t sequence);
  void SendKeepAlive();
  // Time of the last datagram sent, from the system clock.
  int64_t LastSentUs() const { return lastSentUs; }

  // The next datagram, or false when none came within timeout.
  bool Receive(Frame& frame, std::chrono::milliseconds timeout);

  // Waits for a frame that satisfies match and returns it; frames that don't
  // match are kept in skipped. With keepLinkAlive the unit sends a keep-alive
  // every 800 ms meanwhile, and with ackData it acknowledges every data
  // packet it sees (matching or not). False on time-out.
  struct Options {
    bool keepLinkAlive = false;
    bool ackData = false;
  };
  bool WaitFor(const std::function<bool(const Frame&)>& match, Frame& found,
               std::chrono::milliseconds timeout, const Options& options);
  bool WaitFor(const std::function<bool(const Frame&)>& match, Frame& found,
               std::chrono::milliseconds timeout) {
    return WaitFor(match, found, timeout, Options());
  }

  // Everything that arrives within the window, with the same options.
  std::vector<Frame> Collect(std::chrono::milliseconds window, const Options& options);

  // Sends a connect request and waits for the connect response; returns its
  // session number, 0 on time-out. The response itself goes to *response
  // when given. Only a reset (the request refused) makes it ask again: a
  // request repeated while the answer to the first may still come would find
  // the device connected, which resets and listens again, and the unit would
  // take the late answer for a link that the device no longer holds.
  uint16_t Connect(uint16_t session, Frame* response = nullptr,
                   std::chrono::milliseconds timeout = std::chrono::milliseconds(5000));

  std::vector<Frame> skipped;

 private:
  void Service(const Frame& frame, const Options& options, int64_t& nextKeepAliveUs);

  int fd;
  sockaddr_in address;
  sockaddr_in device;
  int64_t lastSentUs = 0;
};

}  // namespace linktest

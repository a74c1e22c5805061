#pragma once

#include <cstdint>

namespace common {
class Buffer;
}

namespace velarn {

// The wire form of transport packets, shared by the transport layer and by
// anything that plays the unit's part (tests, a unit simulator). A packet is
// one frame, which is one datagram: no checksum, no length, no padding;
// 16-bit values are little-endian.
//
//   offset 0  magic 0x42
//   offset 1  kind: bits 7-6 direction, bits 5-4 zero (ignored on input),
//             bits 3-0 type
//   offset 2  by type: 0/1 connect request/response: 0x00, version (2),
//             session (2); 3 data: sequence, payload to the end; 4 ack:
//             sequence; 5 keep-alive: 0x00; 6 reset: 0x00, version (2)
namespace frame {

const uint8_t kMagic = 0x42;
const uint8_t kDirectionMask = 0xC0;
const uint8_t kTypeMask = 0x0F;
// Direction bits: the device sends 10 and accepts 01; the unit the reverse.
const uint8_t kFromDevice = 0x80;
const uint8_t kFromUnit = 0x40;
// The version this side speaks; on input only the high byte counts.
const uint16_t kProtocolVersion = 0x0301;
const unsigned kSupportedMajorVersion = 3;

enum Type : uint8_t {
  kConnectRequest = 0,
  kConnectResponse = 1,
  kData = 3,
  kAck = 4,
  kKeepAlive = 5,
  kReset = 6,
};

// A received packet, taken apart. payload points into the frame it was read
// from and lives no longer than it.
struct Decoded {
  Type type;
  uint16_t version;        // connect request/response, reset
  uint16_t session;        // connect request/response
  uint8_t sequence;        // data, ack
  const uint8_t* payload;  // data
  unsigned payloadSize;
};

// False for anything to be ignored: shorter than 3 bytes, wrong magic, a
// direction other than expectedDirection, type 2 or above 6, a connect
// packet shorter than 7 bytes or a reset shorter than 5. Longer packets are
// taken, their extra bytes unread (data excepted).
bool Decode(const common::Buffer& frame, uint8_t expectedDirection, Decoded& out);

// Each writer empties out first and leaves one whole packet in it.
void WriteConnect(common::Buffer& out, uint8_t direction, Type type, uint16_t version, uint16_t session);
void WriteData(common::Buffer& out, uint8_t direction, uint8_t sequence, const common::Buffer& payload);
void WriteAck(common::Buffer& out, uint8_t direction, uint8_t sequence);
void WriteKeepAlive(common::Buffer& out, uint8_t direction);
void WriteReset(common::Buffer& out, uint8_t direction, uint16_t version);

}  // namespace frame
}  // namespace velarn

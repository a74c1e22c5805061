#include "velarn/TransportFrame.h"

#include "common/Buffer.h"

namespace velarn {
namespace frame {

namespace {

uint16_t Little16(const common::Buffer& frame, unsigned offset) {
  return static_cast<uint16_t>(frame[offset] | (frame[offset + 1] << 8));
}

void Start(common::Buffer& out, uint8_t direction, Type type) {
  out.Clear();
  out.Append(kMagic);
  out.Append(static_cast<uint8_t>(direction | type));
}

void AppendLittle16(common::Buffer& out, uint16_t value) {
  out.Append(static_cast<uint8_t>(value & 0xFF));
  out.Append(static_cast<uint8_t>(value >> 8));
}

}  // namespace

bool Decode(const common::Buffer& frame, uint8_t expectedDirection, Decoded& out) {
  const unsigned size = frame.GetSize();
  if (size < 3 || frame[0] != kMagic || (frame[1] & kDirectionMask) != expectedDirection) {
    return false;
  }
  out = Decoded{};
  out.type = static_cast<Type>(frame[1] & kTypeMask);
  switch (out.type) {
    case kConnectRequest:
    case kConnectResponse:
      if (size < 7) {
        return false;
      }
      out.version = Little16(frame, 3);
      out.session = Little16(frame, 5);
      return true;
    case kData:
      out.sequence = frame[2];
      out.payload = frame.GetData() + 3;
      out.payloadSize = size - 3;
      return true;
    case kAck:
      out.sequence = frame[2];
      return true;
    case kKeepAlive:
      return true;
    case kReset:
      if (size < 5) {
        return false;
      }
      out.version = Little16(frame, 3);
      return true;
  }
  return false;  // type 2 and 7 to 15
}

void WriteConnect(common::Buffer& out, uint8_t direction, Type type, uint16_t version, uint16_t session) {
  Start(out, direction, type);
  out.Append(0x00);
  AppendLittle16(out, version);
  AppendLittle16(out, session);
}

void WriteData(common::Buffer& out, uint8_t direction, uint8_t sequence, const common::Buffer& payload) {
  Start(out, direction, kData);
  out.Append(sequence);
  out.Append(payload.GetData(), payload.GetSize());
}

void WriteAck(common::Buffer& out, uint8_t direction, uint8_t sequence) {
  Start(out, direction, kAck);
  out.Append(sequence);
}

void WriteKeepAlive(common::Buffer& out, uint8_t direction) {
  Start(out, direction, kKeepAlive);
  out.Append(0x00);
}

void WriteReset(common::Buffer& out, uint8_t direction, uint16_t version) {
  Start(out, direction, kReset);
  out.Append(0x00);
  AppendLittle16(out, version);
}

}  // namespace frame
}  // namespace velarn

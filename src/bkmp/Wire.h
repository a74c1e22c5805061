#pragma once

// The frame of one message on the stream between two peers: a header that
// says how long the frame is, then the fields one after the other. Both
// directions use the same frame; docs/bkmp-wire-format.md describes it byte
// for byte. All integers are little-endian.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "bkmp/MessageObject.h"

namespace bkmp {

constexpr uint8_t kMagic[4] = {'B', 'K', 'M', 'P'};
constexpr uint8_t kWireVersion = 1;
constexpr size_t kHeaderSize = 12;
constexpr size_t kMaxFrameSize = BKMP_MAX_FRAME;
constexpr size_t kMaxBodySize = kMaxFrameSize - kHeaderSize;

enum class DecodeResult {
  Complete,    // a whole, valid frame: message filled, used set
  Incomplete,  // too short for the frame it begins; nothing wrong so far
  Malformed,   // these bytes can't begin a valid frame
};

// Size of the frame of message; 0 when it would exceed kMaxFrameSize.
size_t FrameSize(const BKMPMessageObject& message);

// Appends the frame of message to out; false (out unchanged) when too large.
bool EncodeFrame(const BKMPMessageObject& message, std::vector<uint8_t>& out);

// Reads one frame from the start of data. The header is checked as soon as
// its bytes are there, so a peer that sends garbage is caught without
// waiting for a length it announced; the body is checked once it's complete.
// message must be empty; on anything but Complete it may hold some fields.
DecodeResult DecodeFrame(const uint8_t* data, size_t size, size_t& used, BKMPMessageObject& message);

}  // namespace bkmp

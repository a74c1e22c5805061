#pragma once

#include <cstdint>

namespace common {
class Buffer;
}

// Header layouts shared by several node classes. Internal to quorlan.
namespace quorlan {
namespace wire {

// Strings and byte arrays: a tag whose low 6 bits are the high bits of the
// length, then the low 8 bits of the length, then the bytes. The length is
// always written in these two bytes, however short it is.
constexpr unsigned kMaxBlockLength = 0x3FFF;

// Reads the two header bytes at index. Copies the bytes of the block that lie
// inside the buffer into target (a std::string or common::Buffer via the
// callback) and returns the index behind the block as the header tells it,
// which may lie behind the end of a truncated buffer: the next read then
// fails, or the final length test of the message does.
unsigned ReadBlock(const common::Buffer& buffer, unsigned index, const unsigned char*& bytes,
                   unsigned& available);

void WriteBlockHeader(common::Buffer& buffer, uint8_t family, unsigned length);

// Structs and lists: tag family | count for 0 to 7 entries; family | 0x08 |
// high 3 bits, then the low 8 bits, from 8 entries on. Reading accepts both
// forms for every count.
constexpr unsigned kMaxCount = 0x7FF;

unsigned ReadCount(const common::Buffer& buffer, unsigned index, unsigned& count);
void WriteCount(common::Buffer& buffer, uint8_t family, unsigned count);

}  // namespace wire
}  // namespace quorlan

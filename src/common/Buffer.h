#pragma once

#include <iosfwd>

namespace boost {
namespace serialization {
class access;
}
}  // namespace boost

namespace common {

// The one byte container of the system: every datagram, frame, PDU and server
// message passes through it. A growable block with a capacity, a used size and
// a growth factor in percent chosen by its creator (200 doubles it).
//
// It knows bytes only: multi-byte integers are appended and read one byte at a
// time by each format, in the byte order that format demands.
class Buffer {
 public:
  Buffer(unsigned capacity, unsigned growthPercent);
  Buffer(const Buffer& other);
  Buffer& operator=(const Buffer& other);
  ~Buffer();

  unsigned GetSize() const { return size; }
  unsigned GetCapacity() const { return capacity; }
  unsigned GetGrowthPercent() const { return growthPercent; }
  unsigned char* GetData() { return data; }
  const unsigned char* GetData() const { return data; }

  // Size becomes 0; capacity and content stay.
  void Clear() { size = 0; }

  // The encoders' hot path: a compare, a store and an increment.
  void Append(unsigned char byte) {
    if (capacity <= size) {
      Grow(1);
    }
    data[size++] = byte;
  }
  void Append(const void* bytes, unsigned count);

  // Throws std::out_of_range("idx is out of range") for an index not below size.
  unsigned char operator[](unsigned index) const;

  // After a system call or a caller filled the block. Above the capacity
  // throws InvalidOperationException("invalid size"); the content isn't touched.
  void SetSize(unsigned newSize);

  // Exact resize, without the growth rule and the minimum of 32; the size is
  // cut to the new capacity. This is how a receiver makes room for exactly one
  // datagram.
  void SetCapacity(unsigned newCapacity);

  // Archive form (class version 0): growthPercent, capacity, size, then the
  // size used bytes. Defined in common/BufferSerialization.h.
  template <class Archive>
  void serialize(Archive& archive, const unsigned int version);

 private:
  friend class boost::serialization::access;

  // Moves the block to max(capacity + extra, capacity * growth / 100, 32).
  void Grow(unsigned extra);
  void Replace(unsigned newCapacity);
  template <class Archive>
  void LoadFrom(Archive& archive);

  unsigned capacity;
  unsigned size;
  unsigned growthPercent;
  unsigned char* data;
};

// Hexadecimal dump, two lower-case digits per byte separated by colons
// ("0a:ff:1b"); the stream's format flags stay as they were.
std::ostream& operator<<(std::ostream& out, const Buffer& buffer);

}  // namespace common

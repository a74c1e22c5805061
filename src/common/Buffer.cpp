#include "common/Buffer.h"

#include <cstring>
#include <ostream>
#include <sstream>
#include <stdexcept>

#include "common/Exceptions.h"

namespace common {

Buffer::Buffer(unsigned initialCapacity, unsigned growth)
    : capacity(initialCapacity),
      size(0),
      growthPercent(growth),
      data(initialCapacity != 0 ? new unsigned char[initialCapacity] : nullptr) {}

Buffer::Buffer(const Buffer& other)
    : capacity(other.capacity),
      size(other.size),
      growthPercent(other.growthPercent),
      data(other.capacity != 0 ? new unsigned char[other.capacity] : nullptr) {
  if (size != 0) {
    std::memcpy(data, other.data, size);
  }
}

Buffer& Buffer::operator=(const Buffer& other) {
  if (this == &other) {
    return *this;
  }
  if (capacity != other.capacity) {
    unsigned char* block = other.capacity != 0 ? new unsigned char[other.capacity] : nullptr;
    delete[] data;
    data = block;
    capacity = other.capacity;
  }
  size = other.size;
  growthPercent = other.growthPercent;
  if (size != 0) {
    std::memcpy(data, other.data, size);
  }
  return *this;
}

Buffer::~Buffer() { delete[] data; }

void Buffer::Append(const void* bytes, unsigned count) {
  if (count == 0) {
    return;
  }
  if (capacity < size + count) {
    Grow(size + count - capacity);
  }
  std::memcpy(data + size, bytes, count);
  size += count;
}

unsigned char Buffer::operator[](unsigned index) const {
  if (index >= size) {
    throw std::out_of_range("idx is out of range");
  }
  return data[index];
}

void Buffer::SetSize(unsigned newSize) {
  if (newSize > capacity) {
    throw InvalidOperationException("invalid size");
  }
  size = newSize;
}

void Buffer::SetCapacity(unsigned newCapacity) {
  if (newCapacity == capacity) {
    return;
  }
  if (size > newCapacity) {
    size = newCapacity;
  }
  Replace(newCapacity);
}

void Buffer::Grow(unsigned extra) {
  const unsigned wanted = capacity + extra;
  const unsigned scaled = capacity * growthPercent / 100;
  unsigned newCapacity = wanted > scaled ? wanted : scaled;
  if (newCapacity < 32) {
    newCapacity = 32;
  }
  Replace(newCapacity);
}

void Buffer::Replace(unsigned newCapacity) {
  unsigned char* block = newCapacity != 0 ? new unsigned char[newCapacity] : nullptr;
  if (size != 0) {
    std::memcpy(block, data, size);
  }
  delete[] data;
  data = block;
  capacity = newCapacity;
}

std::ostream& operator<<(std::ostream& out, const Buffer& buffer) {
  static const char digits[] = "0123456789abcdef";
  std::ostringstream text;
  for (unsigned i = 0; i < buffer.GetSize(); ++i) {
    if (i != 0) {
      text << ':';
    }
    const unsigned char byte = buffer.GetData()[i];
    text << digits[byte >> 4] << digits[byte & 0x0F];
  }
  return out << text.str();
}

}  // namespace common

#pragma once

// The archive form of common::Buffer, for records that hold one. Kept apart
// from Buffer.h so that only code that stores buffers pays for the
// Boost.Serialization headers.

#include <boost/archive/archive_exception.hpp>
#include <boost/serialization/binary_object.hpp>
#include <boost/serialization/version.hpp>

#include "common/Buffer.h"

namespace common {

// Above this a stored capacity can only come from a damaged file: no buffer of
// the system holds more than one datagram or server message (well below 1 MiB).
constexpr unsigned kMaxStoredBufferCapacity = 16u * 1024u * 1024u;

template <class Archive>
void Buffer::serialize(Archive& archive, const unsigned int /*version*/) {
  if constexpr (Archive::is_saving::value) {
    archive << growthPercent << capacity << size;
    if (size != 0) {
      archive << boost::serialization::make_binary_object(data, size);
    }
  } else {
    LoadFrom(archive);
  }
}

template <class Archive>
void Buffer::LoadFrom(Archive& archive) {
  unsigned storedGrowth = 0;
  unsigned storedCapacity = 0;
  unsigned storedSize = 0;
  archive >> storedGrowth >> storedCapacity >> storedSize;
  // A size above the capacity (or an absurd capacity) means a damaged file:
  // refuse it rather than write behind the block.
  if (storedSize > storedCapacity || storedCapacity > kMaxStoredBufferCapacity) {
    throw boost::archive::archive_exception(boost::archive::archive_exception::input_stream_error);
  }
  unsigned char* block = storedCapacity != 0 ? new unsigned char[storedCapacity] : nullptr;
  delete[] data;
  data = block;
  capacity = storedCapacity;
  size = 0;
  growthPercent = storedGrowth;
  if (storedSize != 0) {
    archive >> boost::serialization::make_binary_object(data, storedSize);
  }
  size = storedSize;
}

}  // namespace common

BOOST_CLASS_VERSION(common::Buffer, 0)

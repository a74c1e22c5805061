#pragma once

#include <boost/serialization/version.hpp>

#include "common/Buffer.h"

namespace velarn {

// One payload in the transport queue, with the flags that say how long it
// lives. The flags are bits, and the strongest set bit wins:
class Packet {
 public:
  // Exists only inside a link: refused while the link is down and dropped
  // when it ends. The control PDUs of the application layer use it.
  static constexpr unsigned kLinkOnly = 1;
  // Also waits while the link is down and survives a lost link and a stop of
  // the driver (through the context file); dropped when a new session begins.
  // Server messages use it.
  static constexpr unsigned kKeepForSession = 2;
  // Like kKeepForSession, and survives a new session as well.
  static constexpr unsigned kKeepAlways = 4;

  // For the archive, which constructs before it loads.
  Packet() : flags(0), data(0, 200) {}
  // The payload is copied into a block of exactly its size: the queue has no
  // limit, so it shouldn't hold the senders' spare capacity.
  Packet(unsigned flags, const common::Buffer& payload);

  // Archive form (class version 1): flags as 4 bytes, then the buffer.
  // Defined in velarn/TransportLayerContext.cpp, the only place that stores it.
  template <class Archive>
  void serialize(Archive& archive, const unsigned int version);

  unsigned flags;
  common::Buffer data;
};

inline Packet::Packet(unsigned packetFlags, const common::Buffer& payload)
    : flags(packetFlags), data(payload.GetSize(), payload.GetGrowthPercent()) {
  data.Append(payload.GetData(), payload.GetSize());
}

}  // namespace velarn

BOOST_CLASS_VERSION(velarn::Packet, 1)

#pragma once

#include <boost/serialization/access.hpp>
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

  // The largest block a loaded payload may keep: a transmit buffer that grew
  // (doubling from 2048) around a PDU as large as a datagram.
  static constexpr unsigned kMaxCapacity = 64u * 1024u;
  // What all packets of one loaded context may keep beyond their sizes
  // together (a queue of 4096 packets of 2048 bytes): a damaged or foreign
  // file can't make the start allocate far more than its own size.
  static constexpr unsigned kMaxSpareCapacity = 8u * 1024u * 1024u;

  // The payload is a copy of the sender's buffer, with its capacity (2048,
  // the application layer's transmit buffer), which the context file
  // records: a stored packet reads "c8000000 00080000 <size>".
  Packet(unsigned flags, const common::Buffer& payload);

  // Archive form (class version 1): flags as 4 bytes, then the buffer. A
  // loaded payload keeps the stored capacity, so that it is written back the
  // same; a capacity above kMaxCapacity can't come from a transmit buffer and
  // is trimmed to the size, as are the capacities beyond kMaxSpareCapacity.
  // Defined in velarn/TransportLayerContext.cpp, the only place that stores
  // and loads it (through ReadContextArchive).
  template <class Archive>
  void serialize(Archive& archive, const unsigned int version);

  unsigned flags;
  common::Buffer data;

 private:
  // Only the archive makes empty packets. Being out of everybody else's
  // reach also makes the archive's list loader build the list one packet at
  // a time as the file delivers them, instead of sizing the list from the
  // stored count first: a damaged count then ends at the end of the file
  // instead of in an allocation of billions of packets.
  friend class boost::serialization::access;
  Packet() : flags(0), data(0, 200) {}
};

inline Packet::Packet(unsigned packetFlags, const common::Buffer& payload)
    : flags(packetFlags), data(payload) {}

}  // namespace velarn

BOOST_CLASS_VERSION(velarn::Packet, 1)

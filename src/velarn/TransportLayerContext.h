#pragma once

#include <cstdint>
#include <iosfwd>
#include <list>

#include <boost/serialization/export.hpp>

#include "velarn/ATransportLayerContext.h"
#include "velarn/Packet.h"

namespace velarn {

// The part of TransportLayerImpl that outlives the process: the session, the
// two sequence numbers, the repetition count of the packet in flight and the
// queue, head first. A plain value object; the layer copies in and out.
class TransportLayerContext : public ATransportLayerContext {
 public:
  TransportLayerContext();
  ~TransportLayerContext() override;

  uint16_t sessionId;
  uint8_t txSequence;
  uint8_t rxSequence;
  uint32_t retryCount;
  std::list<Packet> packets;

 private:
  friend class boost::serialization::access;
  // Archive form (class version 1): the base object, sessionId (2 bytes),
  // txSequence, rxSequence (1 byte each), retryCount (4 bytes), packets.
  template <class Archive>
  void serialize(Archive& archive, const unsigned int version);
};

// The context file's content: a stock Boost binary archive holding one
// pointer to ATransportLayerContext, the concrete class named by its export
// key "velarn::TransportLayerContext". A null pointer is stored as such.
// These live beside the export registration, so that any program that reads
// or writes a context also links the registration.
void WriteContextArchive(std::ostream& out, const ATransportLayerContext* context);
// Returns a new object that the caller owns (null if a null one was stored).
// Throws the archive's exceptions for damaged input.
ATransportLayerContext* ReadContextArchive(std::istream& in);

}  // namespace velarn

BOOST_CLASS_VERSION(velarn::TransportLayerContext, 1)
BOOST_CLASS_EXPORT_KEY(velarn::TransportLayerContext)

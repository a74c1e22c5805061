#include "velarn/TransportLayerContext.h"

#include <boost/archive/binary_iarchive.hpp>
#include <boost/archive/binary_oarchive.hpp>
#include <boost/serialization/base_object.hpp>
#include <boost/serialization/list.hpp>

#include <vector>

#include "common/BufferSerialization.h"

namespace velarn {

template <class Archive>
void Packet::serialize(Archive& archive, const unsigned int /*version*/) {
  archive& flags;
  archive& data;
}

namespace {

// While ReadContextArchive runs on this thread: the contexts constructed
// meanwhile, which are those the archive makes for the stored pointer.
thread_local std::vector<TransportLayerContext*>* madeByArchive = nullptr;

}  // namespace

TransportLayerContext::TransportLayerContext() : sessionId(0), txSequence(0), rxSequence(0), retryCount(0) {
  if (madeByArchive != nullptr) {
    madeByArchive->push_back(this);
  }
}

TransportLayerContext::~TransportLayerContext() = default;

template <class Archive>
void TransportLayerContext::serialize(Archive& archive, const unsigned int /*version*/) {
  archive& boost::serialization::base_object<ATransportLayerContext>(*this);
  archive& sessionId;
  archive& txSequence;
  archive& rxSequence;
  archive& retryCount;
  archive& packets;
}

void WriteContextArchive(std::ostream& out, const ATransportLayerContext* context) {
  boost::archive::binary_oarchive archive(out);
  archive << context;
}

ATransportLayerContext* ReadContextArchive(std::istream& in) {
  boost::archive::binary_iarchive archive(in);
  ATransportLayerContext* context = nullptr;
  std::vector<TransportLayerContext*> made;
  madeByArchive = &made;
  try {
    archive >> context;
  } catch (...) {
    // A damaged archive fails half-way through the object that the archive
    // created for the pointer, and the archive forgets it: free it here.
    madeByArchive = nullptr;
    for (TransportLayerContext* partial : made) {
      delete partial;
    }
    throw;
  }
  madeByArchive = nullptr;
  return context;
}

}  // namespace velarn

BOOST_CLASS_EXPORT_IMPLEMENT(velarn::TransportLayerContext)

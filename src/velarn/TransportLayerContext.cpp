#include "velarn/TransportLayerContext.h"

#include <boost/archive/basic_archive.hpp>
#include <boost/archive/binary_iarchive.hpp>
#include <boost/archive/binary_oarchive.hpp>
#include <boost/serialization/base_object.hpp>
#include <boost/serialization/list.hpp>

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include "common/BufferSerialization.h"

namespace velarn {

namespace {

// While ReadContextArchive runs on this thread: the contexts constructed
// meanwhile, which are those the archive makes for the stored pointer, and
// the spare capacity that the packets loaded from now on may still keep.
thread_local std::vector<TransportLayerContext*>* madeByArchive = nullptr;
thread_local unsigned spareLeft = 0;

}  // namespace

template <class Archive>
void Packet::serialize(Archive& archive, const unsigned int /*version*/) {
  archive& flags;
  archive& data;
  if constexpr (Archive::is_loading::value) {
    const unsigned spare = data.GetCapacity() - data.GetSize();
    if (data.GetCapacity() > kMaxCapacity || spare > spareLeft) {
      data.SetCapacity(data.GetSize());
    } else {
      spareLeft -= spare;
    }
  }
}

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

namespace {

// The stock archive reads the lengths of its signature and of the class name
// before it can check them, so a damaged length would ask for any amount of
// memory. Those are the only texts in a context archive, and for a given
// platform they and the bytes around them are always the same: everything up
// to the end of the class name (or the whole archive of a null pointer) is
// compared with what this program writes, before the archive reads a byte.
// Only the archive library's version may differ, so that a file written with
// another release of the library still loads where the library can read it.
struct ArchiveOpenings {
  std::string context;      // through the end of the export key
  std::string nullPointer;  // the whole archive of a null pointer
  std::size_t versionAt;    // offset of the 2 bytes of the library version
};

std::string ArchiveOf(const ATransportLayerContext* context) {
  std::ostringstream out;
  WriteContextArchive(out, context);
  return out.str();
}

const ArchiveOpenings& Openings() {
  static const ArchiveOpenings openings = [] {
    ArchiveOpenings made;
    const TransportLayerContext empty;
    const std::string withContext = ArchiveOf(&empty);
    const std::string key = "velarn::TransportLayerContext";
    made.context = withContext.substr(0, withContext.find(key) + key.size());
    made.nullPointer = ArchiveOf(nullptr);
    const std::string signature = boost::archive::BOOST_ARCHIVE_SIGNATURE();
    made.versionAt = withContext.find(signature) + signature.size();
    return made;
  }();
  return openings;
}

// Whether bytes begin like expected, apart from the library version.
bool SameOpening(const std::string& bytes, const std::string& expected, std::size_t versionAt) {
  if (bytes.size() < expected.size()) {
    return false;
  }
  for (std::size_t i = 0; i < expected.size(); ++i) {
    if (bytes[i] != expected[i] && i != versionAt && i != versionAt + 1) {
      return false;
    }
  }
  return true;
}

}  // namespace

ATransportLayerContext* ReadContextArchive(std::istream& in) {
  const ArchiveOpenings& openings = Openings();
  const std::size_t length = std::max(openings.context.size(), openings.nullPointer.size());
  std::string head(length, '\0');
  in.read(&head[0], static_cast<std::streamsize>(length));
  head.resize(static_cast<std::size_t>(in.gcount()));
  if (!SameOpening(head, openings.context, openings.versionAt) &&
      !SameOpening(head, openings.nullPointer, openings.versionAt)) {
    throw boost::archive::archive_exception(boost::archive::archive_exception::invalid_signature);
  }
  in.clear();
  in.seekg(-static_cast<std::streamoff>(head.size()), std::ios::cur);
  if (!in) {
    throw boost::archive::archive_exception(boost::archive::archive_exception::input_stream_error);
  }
  boost::archive::binary_iarchive archive(in);
  ATransportLayerContext* context = nullptr;
  std::vector<TransportLayerContext*> made;
  madeByArchive = &made;
  spareLeft = Packet::kMaxSpareCapacity;
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

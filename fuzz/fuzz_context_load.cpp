// The context file from disk: whatever the bytes, loading ends in a context
// (or the stored null) or an exception, within the memory the bytes can
// justify; a context that loaded writes back into an archive that loads into
// the same context.
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>

#include "velarn/TransportLayerContext.h"

namespace {

void Check(bool condition) {
  if (!condition) {
    std::abort();
  }
}

std::unique_ptr<velarn::ATransportLayerContext> Load(const std::string& bytes) {
  std::istringstream in(bytes);
  return std::unique_ptr<velarn::ATransportLayerContext>(velarn::ReadContextArchive(in));
}

std::string Archive(const velarn::ATransportLayerContext* context) {
  std::ostringstream out;
  velarn::WriteContextArchive(out, context);
  return out.str();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::unique_ptr<velarn::ATransportLayerContext> first;
  try {
    first = Load(std::string(reinterpret_cast<const char*>(data), size));
  } catch (...) {
    return 0;
  }
  const std::string once = Archive(first.get());
  const std::unique_ptr<velarn::ATransportLayerContext> second = Load(once);
  Check(Archive(second.get()) == once);
  const auto* context = dynamic_cast<const velarn::TransportLayerContext*>(first.get());
  if (context != nullptr) {
    // A stored capacity is kept up to what a transmit buffer can have grown
    // to, and within one budget for the whole file; beyond that the block
    // holds only what the packet holds.
    unsigned long long spare = 0;
    for (const velarn::Packet& packet : context->packets) {
      Check(packet.data.GetCapacity() >= packet.data.GetSize());
      Check(packet.data.GetCapacity() <= velarn::Packet::kMaxCapacity ||
            packet.data.GetCapacity() == packet.data.GetSize());
      spare += packet.data.GetCapacity() - packet.data.GetSize();
    }
    Check(spare <= velarn::Packet::kMaxSpareCapacity);
  }
  return 0;
}

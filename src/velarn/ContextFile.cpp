#include "velarn/ContextFile.h"

#include <cerrno>
#include <fstream>
#include <ostream>

#include "common/Exceptions.h"
#include "common/ReplaceFile.h"
#include "velarn/TransportLayerContext.h"

namespace velarn {

void WriteContextFile(const std::string& path, const ATransportLayerContext* context) {
  common::ReplaceFile(path, [context](std::streambuf& buffer) {
    std::ostream out(&buffer);
    WriteContextArchive(out, context);
  });
}

ATransportLayerContext* ReadContextFile(const std::string& path) {
  std::ifstream in(path.c_str(), std::ios::in | std::ios::binary);
  if (!in.is_open()) {
    throw IOException("could not open " + path, errno);
  }
  return ReadContextArchive(in);
}

}  // namespace velarn

#pragma once

#include <string>

namespace velarn {

class ATransportLayerContext;

// The context file of the driver: the archive of TransportLayerContext.h.
//
// Written aside and renamed over path (common/ReplaceFile.h: a crash leaves
// the old or the new complete file, never a torn one; links, mode and owner,
// and the in-place way out are told there). Failures throw IOException
// ("could not create <path>", "could not write <path>", "could not flush
// <path>", "could not replace <path>") and leave the old file and no
// temporary one behind.
void WriteContextFile(const std::string& path, const ATransportLayerContext* context);

// A new context that the caller owns, or null if a null one was stored.
// Throws IOException "could not open <path>" for a missing or unreadable
// file and the archive's exceptions for a damaged one.
ATransportLayerContext* ReadContextFile(const std::string& path);

}  // namespace velarn

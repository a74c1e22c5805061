#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>

#include "velarn/TransportLayerContext.h"

namespace {

// The context file is the stock archive, which writes the platform's own
// sizes: the header says how wide int, long, float and double are, and the
// lengths of texts and the count of the queue are as wide as std::size_t.
// The same context on the 32-bit device and on a 64-bit machine:
std::string ArchiveBytes(bool wide) {
  const std::string size = wide ? std::string("\0\0\0\0", 4) : std::string();
  return std::string("\x16\0\0\0", 4) + size + "serialization::archive" + std::string("\x12\0", 2) +
         (wide ? std::string("\x04\x08\x04\x08", 4) : std::string("\x04\x04\x04\x08", 4)) +
         std::string("\x01\0\0\0\x01\0", 6) + std::string("\x1d\0\0\0", 4) + size +
         "velarn::TransportLayerContext" + std::string("\x01\x01\0\0\0\0\0\0\0", 9) +  // class, object
         std::string("\x01\x01\0\0\0\x01\0\0\0", 9) +                                  // the base
         std::string("\x34\x12\x07\xc8\x05\0\0\0", 8) +                                // the fields
         std::string("\0\0\0\0\0", 5) + std::string("\0\0\0\0", 4) + size +            // the list
         std::string("\x01\0\0\0", 4);                                                 // item version
}

TEST(ContextWordSizeTest, FileHoldsNativeSizesAndAForeignOneIsRefused) {
  const bool wide = sizeof(std::size_t) == 8;
  velarn::TransportLayerContext context;
  context.sessionId = 0x1234;
  context.txSequence = 7;
  context.rxSequence = 200;
  context.retryCount = 5;
  std::ostringstream out;
  velarn::WriteContextArchive(out, &context);
  EXPECT_EQ(ArchiveBytes(wide), out.str());

  // The native file loads; one written on the other word size is refused as
  // damaged (the service then begins a new session with the unit).
  std::istringstream native(ArchiveBytes(wide));
  std::unique_ptr<velarn::ATransportLayerContext> loaded(velarn::ReadContextArchive(native));
  const auto* concrete = dynamic_cast<const velarn::TransportLayerContext*>(loaded.get());
  ASSERT_NE(nullptr, concrete);
  EXPECT_EQ(0x1234, concrete->sessionId);
  EXPECT_EQ(5u, concrete->retryCount);
  std::istringstream foreign(ArchiveBytes(!wide));
  EXPECT_THROW(delete velarn::ReadContextArchive(foreign), std::exception);
}

}  // namespace

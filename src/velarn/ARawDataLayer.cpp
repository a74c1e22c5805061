#include "velarn/ARawDataLayer.h"

#include "velarn/IRawDataReceiver.h"

namespace velarn {

void ARawDataLayer::NotifyRawData(const common::Buffer& data) {
  if (receiver == nullptr) {
    return;
  }
  boost::recursive_mutex::scoped_lock lock(mutex);
  try {
    receiver->ReceiveRawData(data);
  } catch (...) {
    // Every failure above ends here, on the receive path: a malformed packet
    // or PDU is a lost datagram, not a dead thread.
  }
}

}  // namespace velarn

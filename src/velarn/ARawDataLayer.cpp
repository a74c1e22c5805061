#include "velarn/ARawDataLayer.h"

#include "common/WakeBatch.h"
#include "velarn/IRawDataReceiver.h"

namespace velarn {

void ARawDataLayer::NotifyRawData(const common::Buffer& data) {
  if (receiver == nullptr) {
    return;
  }
  // The event thread, woken for what this datagram queues, answers through
  // the stack: it is woken once the stack's mutex is free.
  const common::WakeBatch batch;
  boost::recursive_mutex::scoped_lock lock(mutex);
  try {
    receiver->ReceiveRawData(data);
  } catch (...) {
    // Every failure above ends here, on the receive path: a malformed packet
    // or PDU is a lost datagram, not a dead thread.
  }
}

}  // namespace velarn

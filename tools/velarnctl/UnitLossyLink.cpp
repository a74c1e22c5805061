#include "velarnctl/UnitLossyLink.h"

#include <cstdio>
#include <string>

#include "common/Buffer.h"
#include "velarn/TransportFrame.h"
#include "velarnctl/MsgHex.h"
#include "velarnctl/UnitMessageText.h"
#include "velarnctl/UnitOutput.h"
#include "velarnctl/UnitPcap.h"

namespace velarnctl {

namespace {

namespace frame = velarn::frame;

std::string SessionText(uint16_t session) {
  char text[16];
  std::snprintf(text, sizeof(text), "0x%04x", session);
  return text;
}

// One transport packet in words: "data seq=3 pdu=4:7", "ack seq=3",
// "connect-request session=0x1234".
std::string PacketText(const common::Buffer& data, uint8_t direction) {
  frame::Decoded packet;
  if (!frame::Decode(data, direction, packet)) {
    return "malformed " + BufferToHex(data);
  }
  switch (packet.type) {
    case frame::kConnectRequest:
      return "connect-request session=" + SessionText(packet.session);
    case frame::kConnectResponse:
      return "connect-response session=" + SessionText(packet.session);
    case frame::kData: {
      std::string text = "data seq=" + std::to_string(packet.sequence);
      if (packet.payloadSize >= 2) {
        text += " pdu=" + PduName(static_cast<uint16_t>(packet.payload[0] << 8 | packet.payload[1]));
      }
      return text;
    }
    case frame::kAck:
      return "ack seq=" + std::to_string(packet.sequence);
    case frame::kKeepAlive:
      return "keep-alive";
    case frame::kReset:
      return "reset";
  }
  return "malformed " + BufferToHex(data);
}

}  // namespace

LossyFrameLayer::LossyFrameLayer(boost::recursive_mutex& mutex, UnitOutput& output, unsigned seed)
    : stackMutex(mutex), output(output), random(seed), loss(0), delay(0), silent(false), trace(false) {}

LossyFrameLayer::~LossyFrameLayer() { Stop(); }

void LossyFrameLayer::Start() {
  std::lock_guard<std::mutex> lock(heldMutex);
  if (delayThread.joinable()) {
    return;
  }
  stopping = false;
  delayThread = std::thread(&LossyFrameLayer::DelayLoop, this);
}

void LossyFrameLayer::Stop() {
  {
    std::lock_guard<std::mutex> lock(heldMutex);
    stopping = true;
    held.clear();
  }
  heldChanged.notify_all();
  if (delayThread.joinable()) {
    delayThread.join();
  }
}

void LossyFrameLayer::ReceiveRawData(const common::Buffer& data) {
  if (capture != nullptr) {
    capture->Write(false, data);
  }
  Pass(kUp, data);
}

void LossyFrameLayer::SendFrame(const common::Buffer& frame) { Pass(kDown, frame); }

void LossyFrameLayer::Reset() {
  std::lock_guard<std::mutex> lock(heldMutex);
  held.clear();
  ++resets;
}

void LossyFrameLayer::Pass(Direction direction, const common::Buffer& data) {
  if (silent) {
    Trace(direction, data, " silent");
    return;
  }
  // Drawn for every datagram, whatever the percentage, so that a seed gives
  // the same decisions however the loss is changed during a run.
  const bool lost = static_cast<unsigned>(random.Next()) % 100 < loss;
  Trace(direction, data, lost ? " lost" : "");
  if (lost) {
    return;
  }
  const unsigned holdBack = delay;
  if (holdBack == 0) {
    Deliver(direction, data);
    return;
  }
  Held entry{std::chrono::steady_clock::now() + std::chrono::milliseconds(holdBack), direction,
             std::vector<unsigned char>(data.GetData(), data.GetData() + data.GetSize())};
  {
    std::lock_guard<std::mutex> lock(heldMutex);
    if (stopping) {
      return;
    }
    held.push_back(std::move(entry));
  }
  heldChanged.notify_all();
}

void LossyFrameLayer::Deliver(Direction direction, const common::Buffer& data) {
  if (direction == kUp) {
    NotifyFrame(data);
  } else {
    if (capture != nullptr) {
      capture->Write(true, data);
    }
    SendToRawLayer(data);
  }
}

void LossyFrameLayer::Trace(Direction direction, const common::Buffer& data, const char* fate) {
  if (!trace) {
    return;
  }
  if (direction == kUp) {
    output.Line("frame <- " + PacketText(data, frame::kFromDevice) + fate);
  } else {
    output.Line("frame -> " + PacketText(data, frame::kFromUnit) + fate);
  }
}

void LossyFrameLayer::DelayLoop() {
  std::unique_lock<std::mutex> lock(heldMutex);
  while (!stopping) {
    if (held.empty()) {
      heldChanged.wait(lock);
      continue;
    }
    if (std::chrono::steady_clock::now() < held.front().due) {
      heldChanged.wait_until(lock, held.front().due);
      continue;
    }
    Held entry = std::move(held.front());
    held.pop_front();
    const unsigned resetsBefore = resets;
    lock.unlock();
    {
      common::Buffer data(static_cast<unsigned>(entry.bytes.size()), 200);
      data.Append(entry.bytes.data(), static_cast<unsigned>(entry.bytes.size()));
      boost::recursive_mutex::scoped_lock stackLock(stackMutex);
      // Reset may have run while this thread waited for the mutex.
      if (resets == resetsBefore) {
        Deliver(entry.direction, data);
      }
    }
    lock.lock();
  }
}

}  // namespace velarnctl

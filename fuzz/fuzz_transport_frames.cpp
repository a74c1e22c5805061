// Feeds arbitrary frames to a connected transport layer, the way datagrams
// from the unit reach it, mixed with the calls the layers above make. The
// input is a list of records:
//   0x00..0xEF  n, then n bytes: one frame from the unit (cut at the end)
//   0xF0        flags, n, then n & 0x3F bytes: Send(flags & 7, bytes)
//   0xF1        Disconnect()      0xF2  Listen()      0xF3  Connect()
//   0xF4        Stop(), the context taken out and put back, Listen()
//   others      ignored
// The layer starts connected in a resumed session 0x1234 with one packet
// queued; timers don't run, so the run is deterministic as long as no new
// session number is drawn. Beyond crashes and leaks, these are findings:
// a frame sent that isn't a well-formed packet of this side; a data packet
// received while connected that isn't acknowledged at once (first thing
// sent) or that is delivered when it repeats the last number, or not
// delivered when it doesn't; a packet of a link left after a stop.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "common/Buffer.h"
#include "common/TimerMgr.h"
#include "velarn/IFrameSender.h"
#include "velarn/ITransportLayerEventHandler.h"
#include "velarn/TransportFrame.h"
#include "velarn/TransportLayerContext.h"
#include "velarn/TransportLayerImpl.h"

namespace {

using velarn::frame::Decoded;

[[noreturn]] void Fail(const char* what) {
  std::fprintf(stderr, "fuzz_transport_frames: %s\n", what);
  std::abort();
}

class Sink : public velarn::IFrameSender {
 public:
  void SendFrame(const common::Buffer& frame) override {
    Decoded packet{};
    if (!velarn::frame::Decode(frame, velarn::frame::kFromDevice, packet)) {
      Fail("sent a malformed packet");
    }
    if (frame.GetSize() != 3 && packet.type != velarn::frame::kData &&
        frame.GetSize() != (packet.type == velarn::frame::kReset ? 5u : 7u)) {
      Fail("sent a packet of the wrong length");
    }
    sent.push_back(std::vector<uint8_t>(frame.GetData(), frame.GetData() + frame.GetSize()));
  }
  std::vector<std::vector<uint8_t>> sent;
};

class Events : public velarn::ITransportLayerEventHandler {
 public:
  void OnConnected(bool newSession) override {
    if (newSession) {
      modelRx = 0;  // a new session counts from 0
    }
  }
  void OnInterrupted() override {}
  void OnReceived(const common::Buffer& payload) override {
    ++delivered;
    lastSize = payload.GetSize();
  }
  unsigned modelRx = 0;
  unsigned delivered = 0;
  unsigned lastSize = 0;
};

common::Buffer FromBytes(const uint8_t* data, size_t size) {
  common::Buffer buffer(static_cast<unsigned>(size), 200);
  buffer.Append(data, static_cast<unsigned>(size));
  return buffer;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  boost::recursive_mutex mutex;
  common::TimerMgr timers(mutex, 200);
  velarn::TransportLayerImpl layer(timers);
  Sink sink;
  Events events;
  layer.SetFrameSender(&sink);
  layer.SetEventHandler(&events);

  velarn::TransportLayerContext context;
  context.sessionId = 0x1234;
  context.txSequence = 1;
  const uint8_t queued[] = {0x04, 0x07, 0x01, 0x01, 0x00, 0x2A};
  context.packets.emplace_back(velarn::Packet::kKeepForSession, FromBytes(queued, sizeof(queued)));
  layer.SetContext(&context);
  layer.Listen();
  const uint8_t request[] = {0x42, 0x40, 0x00, 0x01, 0x03, 0x34, 0x12};
  layer.ReceiveFrame(FromBytes(request, sizeof(request)));

  size_t at = 0;
  while (at < size) {
    const uint8_t op = data[at++];
    if (op < 0xF0) {
      const size_t length = op < size - at ? op : size - at;
      const common::Buffer frame = FromBytes(data + at, length);
      at += length;
      Decoded packet{};
      const bool isData = velarn::frame::Decode(frame, velarn::frame::kFromUnit, packet) &&
                          packet.type == velarn::frame::kData;
      const bool connected = std::string(layer.GetStateName()) == "connected";
      const size_t sentBefore = sink.sent.size();
      const unsigned deliveredBefore = events.delivered;
      layer.ReceiveFrame(frame);
      if (isData && connected) {
        if (sink.sent.size() == sentBefore) {
          Fail("data not acknowledged");
        }
        const std::vector<uint8_t>& ack = sink.sent[sentBefore];
        if (ack.size() != 3 || ack[1] != 0x84 || ack[2] != packet.sequence) {
          Fail("the acknowledgement isn't the first thing sent");
        }
        const bool repeat = packet.sequence == events.modelRx;
        if (events.delivered != deliveredBefore + (repeat ? 0 : 1)) {
          Fail(repeat ? "a repeat was delivered" : "new data wasn't delivered");
        }
        if (!repeat && events.lastSize != packet.payloadSize) {
          Fail("delivered payload of another size");
        }
        events.modelRx = packet.sequence;
      } else if (events.delivered != deliveredBefore) {
        Fail("delivered without being connected");
      }
    } else if (op == 0xF0) {
      if (size - at < 2) {
        break;
      }
      const unsigned flags = data[at] & 7;
      const size_t wanted = data[at + 1] & 0x3F;
      at += 2;
      const size_t length = wanted < size - at ? wanted : size - at;
      layer.Send(flags, FromBytes(data + at, length));
      at += length;
    } else if (op == 0xF1) {
      layer.Disconnect();
    } else if (op == 0xF2) {
      layer.Listen();
    } else if (op == 0xF3) {
      layer.Connect();
    } else if (op == 0xF4) {
      layer.Stop();
      std::unique_ptr<velarn::ATransportLayerContext> taken(layer.GetContext());
      for (const velarn::Packet& packet : static_cast<velarn::TransportLayerContext&>(*taken).packets) {
        if ((packet.flags & velarn::Packet::kLinkOnly) != 0) {
          Fail("a packet of the link survived a stop");
        }
      }
      layer.SetContext(taken.get());
      layer.Listen();
    }
  }
  layer.Stop();
  return 0;
}

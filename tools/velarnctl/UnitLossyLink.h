#pragma once

#include <atomic>
#include <boost/thread/recursive_mutex.hpp>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

#include "common/Random.h"
#include "velarn/AFrameLayer.h"

namespace velarnctl {

class PcapWriter;
class UnitOutput;

// The frame layer of the simulated unit: passes datagrams like the null
// frame layer, but can impair the link in both directions, so that the
// daemon's retransmission and its loss of the link can be watched:
//
// - loss: each datagram, in either direction, is dropped with this
//   probability in percent, drawn from a generator seeded at construction,
//   so a run with the same seed makes the same sequence of decisions;
// - delay: each datagram that survives is held back this many milliseconds,
//   in order, by a thread of its own;
// - silent: nothing passes in either direction, as with a unit out of
//   radio coverage;
// - trace: every datagram is printed as a "frame" line, with "lost" or
//   "silent" when it didn't pass;
// - capture: every datagram that the socket gave or took is written to a
//   pcap file (what is lost here was still received, and what is lost on
//   the way out was never sent).
//
// Entries from the stack run under the stack's mutex, like all of it; the
// delay thread takes that mutex to hand a held-back datagram on.
class LossyFrameLayer : public velarn::AFrameLayer {
 public:
  LossyFrameLayer(boost::recursive_mutex& mutex, UnitOutput& output, unsigned seed);
  ~LossyFrameLayer() override;

  void SetLoss(unsigned percent) { loss = percent; }
  void SetDelay(unsigned milliseconds) { delay = milliseconds; }
  void SetSilent(bool on) { silent = on; }
  void SetTrace(bool on) { trace = on; }
  // Not owned; null for none. Set before Start.
  void SetCapture(PcapWriter* writer) { capture = writer; }
  unsigned GetLoss() const { return loss; }
  unsigned GetDelay() const { return delay; }
  bool IsSilent() const { return silent; }

  // The delay thread. Stop drops what is still held back; call it without
  // the stack's mutex, which the thread may be waiting for.
  void Start();
  void Stop();

  void ReceiveRawData(const common::Buffer& data) override;
  void SendFrame(const common::Buffer& frame) override;
  // Drops what is held back (the unit restarts).
  void Reset() override;

 private:
  enum Direction { kUp, kDown };
  struct Held {
    std::chrono::steady_clock::time_point due;
    Direction direction;
    std::vector<unsigned char> bytes;
  };

  void Pass(Direction direction, const common::Buffer& data);
  void Deliver(Direction direction, const common::Buffer& data);
  void Trace(Direction direction, const common::Buffer& data, const char* fate);
  void DelayLoop();

  boost::recursive_mutex& stackMutex;
  UnitOutput& output;
  common::Random random;  // used under the stack's mutex
  std::atomic<unsigned> loss;
  std::atomic<unsigned> delay;
  std::atomic<bool> silent;
  std::atomic<bool> trace;
  PcapWriter* capture = nullptr;

  std::mutex heldMutex;  // never held while taking the stack's mutex
  std::condition_variable heldChanged;
  std::deque<Held> held;
  // Counts the calls of Reset, which run under the stack's mutex: a datagram
  // that the delay thread took before one is dropped with the rest.
  std::atomic<unsigned> resets{0};
  bool stopping = false;
  std::thread delayThread;
};

}  // namespace velarnctl

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <mutex>

#include "common/Exceptions.h"
#include "support/Thrown.h"
#include "support/Wait.h"
#include "velarn/IRawDataReceiver.h"
#include "velarn/ScriptedUnit.h"
#include "velarn/TransportStack.h"
#include "velarn/UDPLayerFactory.h"

using namespace std::chrono_literals;
using linktest::Bytes;
using linktest::Frame;
using linktest::Loopback;
using linktest::ScriptedUnit;
using linktest::TransportStack;
using testsupport::Thrown;

namespace {

class RecordingReceiver : public velarn::IRawDataReceiver {
 public:
  void ReceiveRawData(const common::Buffer& data) override {
    std::lock_guard<std::mutex> lock(mutex);
    received.push_back(linktest::ToBytes(data));
    if (throwOnReceive) {
      throw std::runtime_error("receiver failed");
    }
  }
  std::vector<Bytes> Received() {
    std::lock_guard<std::mutex> lock(mutex);
    return received;
  }
  std::atomic<bool> throwOnReceive{false};

 private:
  std::mutex mutex;
  std::vector<Bytes> received;
};

TEST(UDPLayerTest, StartStopRefusalsAndRestart) {
  boost::recursive_mutex mutex;
  ScriptedUnit unit;
  velarn::UDPLayerFactory factory(Loopback(), unit.Address());
  std::unique_ptr<velarn::ARawDataLayer> layer(factory.Create(mutex));
  auto* udp = dynamic_cast<velarn::UDPLayer*>(layer.get());
  ASSERT_NE(nullptr, udp);
  EXPECT_EQ("UDPLayer was stopped", Thrown<InvalidOperationException>([&] { layer->Stop(); }));
  layer->Start();
  EXPECT_EQ("UDPLayer was started", Thrown<InvalidOperationException>([&] { layer->Start(); }));
  const sockaddr_in bound = udp->GetBoundAddress();
  EXPECT_NE(0, bound.sin_port);

  // Stopped and started again on the same port; destroying a started layer
  // stops it and frees the port.
  layer->Stop();
  layer.reset(new velarn::UDPLayer(mutex, bound, unit.Address()));
  layer->Start();
  layer.reset();
  velarn::UDPLayer again(mutex, bound, unit.Address());
  again.Start();
  again.Stop();
}

TEST(UDPLayerTest, DatagramsArriveWholeWhateverTheirSize) {
  boost::recursive_mutex mutex;
  ScriptedUnit unit;
  velarn::UDPLayer layer(mutex, Loopback(), unit.Address());
  RecordingReceiver receiver;
  layer.SetRawDataReceiver(&receiver);
  layer.Start();
  unit.SetDevice(layer.GetBoundAddress());

  Bytes large(5000);
  for (size_t i = 0; i < large.size(); ++i) {
    large[i] = static_cast<uint8_t>(i * 7);
  }
  unit.SendRaw({});
  unit.SendRaw(large);
  unit.SendRaw({0x42, 0x45, 0x00});
  // A receiver that throws doesn't disturb the loop.
  receiver.throwOnReceive = true;
  unit.SendRaw({0x01});
  unit.SendRaw({0x02});
  ASSERT_TRUE(testsupport::WaitUntil([&] { return receiver.Received().size() == 5; }, 3000ms));
  const std::vector<Bytes> received = receiver.Received();
  EXPECT_TRUE(received[0].empty());
  EXPECT_EQ(large, received[1]);
  EXPECT_EQ((Bytes{0x42, 0x45, 0x00}), received[2]);
  EXPECT_EQ((Bytes{0x02}), received[4]);

  // Sending goes to the unit's address, one datagram per call.
  common::Buffer buffer = linktest::ToBuffer({0x42, 0x85, 0x00});
  layer.SendRawData(buffer);
  Frame frame;
  ASSERT_TRUE(unit.Receive(frame, 2000ms));
  EXPECT_EQ(linktest::ToBytes(buffer), frame.bytes);
  layer.Stop();
  // Stopped, a send is swallowed like any lost datagram.
  layer.SendRawData(buffer);
}

TEST(UDPLayerTest, WithoutReceiverTheMutexIsNotTaken) {
  boost::recursive_mutex mutex;
  ScriptedUnit unit;
  velarn::UDPLayer layer(mutex, Loopback(), unit.Address());
  layer.Start();
  unit.SetDevice(layer.GetBoundAddress());
  {
    boost::recursive_mutex::scoped_lock lock(mutex);
    unit.SendRaw({0x42, 0x45, 0x00});
    unit.SendRaw({0x42, 0x45, 0x00});
    // Stop joins the loop; had it waited for the mutex held here, the join
    // would never end. Bounded: the mutex is released on time-out.
    std::future<void> stopped = std::async(std::launch::async, [&] { layer.Stop(); });
    const bool ended = stopped.wait_for(3000ms) == std::future_status::ready;
    lock.unlock();
    stopped.wait();
    EXPECT_TRUE(ended);
  }
}

TEST(UDPLayerTest, OnlyThePeersHostReachesTheStackOnAnyPort) {
  ScriptedUnit unit("127.0.0.1");
  ScriptedUnit stranger("127.0.0.2");
  ScriptedUnit samePeerHost("127.0.0.1");
  TransportStack stack(unit.Address());
  stack.Start();
  const sockaddr_in device = stack.Address();
  unit.SetDevice(device);
  stranger.SetDevice(device);
  samePeerHost.SetDevice(device);
  stack.Listen();

  stranger.SendConnectRequest(0);
  Frame frame;
  EXPECT_FALSE(stranger.Receive(frame, 400ms));
  EXPECT_FALSE(unit.Receive(frame, 10ms));
  EXPECT_EQ("listening", stack.StateName());

  // Another port of the unit's host is taken as the unit; the answer goes
  // to the unit's own port.
  samePeerHost.SendConnectRequest(0);
  ASSERT_TRUE(unit.Receive(frame, 2000ms));
  EXPECT_TRUE(frame.IsType(1));
  EXPECT_FALSE(samePeerHost.Receive(frame, 100ms));
  EXPECT_TRUE(stack.log.WaitFor("connected", 1, 2000));

  // Connected, the stranger's data is not delivered either.
  stranger.SendData(1, {0x04, 0x06});
  unit.SendData(2, {0x04, 0x03});
  ASSERT_TRUE(stack.log.WaitFor("received", 1, 2000));
  unit.Collect(100ms, ScriptedUnit::Options());
  EXPECT_EQ((std::vector<std::string>{"connected 1", "received 04:03"}), stack.log.Lines());
}

}  // namespace

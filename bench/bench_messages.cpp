// Parse and serialise times of server messages at their largest realistic
// size: a new order with a 500-character text and ten contacts, and an event
// carrying both position groups.
#include <benchmark/benchmark.h>

#include <boost/make_shared.hpp>
#include <string>

#include "common/Buffer.h"
#include "quorlan/BoolMessageNode.h"
#include "quorlan/EventOutMessages.h"
#include "quorlan/IncomingMessages.h"
#include "quorlan/IntegerMessageNode.h"
#include "quorlan/ListMessageNode.h"
#include "quorlan/Message.h"
#include "quorlan/MessageCodec.h"
#include "quorlan/StringMessageNode.h"
#include "quorlan/StructMessageNode.h"

namespace {

using boost::shared_ptr;
using quorlan::MessageNodePtr;

MessageNodePtr Int(int64_t value) { return boost::make_shared<quorlan::IntegerMessageNode>(value); }
MessageNodePtr Str(const std::string& value) { return boost::make_shared<quorlan::StringMessageNode>(value); }

quorlan::Message FullNewOrder() {
  quorlan::Message order(0x0401);
  order.SetNode(1, Int(4000000001LL));
  order.SetNode(2, Str("ORD-2024-000123"));
  order.SetNode(3, Int(2));
  order.SetNode(4, Str(std::string(500, 'o')));
  order.SetNode(5, Int(31));
  const shared_ptr<quorlan::StructMessageNode> destination = boost::make_shared<quorlan::StructMessageNode>();
  destination->SetNode(1, Int(48137000));
  destination->SetNode(2, Int(11575000));
  destination->SetNode(3, Str("Marienplatz 1, 80331 Muenchen, loading dock B"));
  order.SetNode(6, destination);
  order.SetNode(7, boost::make_shared<quorlan::BoolMessageNode>(true));
  order.SetNode(8, Int(790000000));
  const shared_ptr<quorlan::ListMessageNode> contacts = boost::make_shared<quorlan::ListMessageNode>();
  for (int i = 0; i < 10; ++i) {
    const shared_ptr<quorlan::StructMessageNode> contact = boost::make_shared<quorlan::StructMessageNode>();
    contact->SetNode(1, Str("contact person " + std::to_string(i)));
    contact->SetNode(2, Str("+49 89 1234567" + std::to_string(i)));
    contacts->SetNode(0, contact);
  }
  order.SetNode(9, contacts);
  return order;
}

quorlan::PositionGroup Position(bool valid) {
  quorlan::PositionGroup position;
  position.valid.SetValue(valid);
  position.latitude.SetValue(48137000);
  position.longitude.SetValue(-11575000);
  position.time.SetValue(790000000);
  position.satellites.SetValue(9);
  position.course.SetValue(135);
  position.speed.SetValue(1234);
  return position;
}

quorlan::OrderWorkflowEventOutMsg FullEvent() {
  quorlan::OrderWorkflowEventOutMsg event;
  event.time.SetValue(790000000123ull);
  event.linkAge.SetValue(0);
  event.unitPosition.SetValue(Position(true));
  event.navigationPosition.SetValue(Position(false));
  event.odometer.SetValue(1234567);
  event.tripValue.SetValue(4321);
  event.logbookMode.SetValue(1);
  event.text.SetValue("arrived");
  event.orderId.SetValue(4000000001u);
  event.orderType.SetValue(2);
  event.workflowCode.SetValue(101);
  return event;
}

void BM_ParseNewOrder(benchmark::State& state) {
  common::Buffer bytes(1024, 200);
  FullNewOrder().Serialize(bytes);
  for (auto _ : state) {
    benchmark::DoNotOptimize(quorlan::MessageCodec::Parse(bytes));
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * bytes.GetSize());
  state.counters["bytes"] = bytes.GetSize();
}
BENCHMARK(BM_ParseNewOrder);

void BM_SerializeNewOrder(benchmark::State& state) {
  const quorlan::Message order = FullNewOrder();
  common::Buffer bytes(1024, 200);
  for (auto _ : state) {
    order.Serialize(bytes);
    benchmark::DoNotOptimize(bytes.GetData());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * bytes.GetSize());
}
BENCHMARK(BM_SerializeNewOrder);

void BM_SerializeEventWithPositions(benchmark::State& state) {
  const quorlan::OrderWorkflowEventOutMsg event = FullEvent();
  common::Buffer bytes(1024, 200);
  for (auto _ : state) {
    quorlan::MessageCodec::Serialize(event, bytes);
    benchmark::DoNotOptimize(bytes.GetData());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * bytes.GetSize());
  state.counters["bytes"] = bytes.GetSize();
}
BENCHMARK(BM_SerializeEventWithPositions);

void BM_ParseEventWithPositions(benchmark::State& state) {
  common::Buffer bytes(1024, 200);
  quorlan::MessageCodec::Serialize(FullEvent(), bytes);
  for (auto _ : state) {
    quorlan::Message tree;
    tree.Parse(bytes);
    benchmark::DoNotOptimize(tree.GetCount());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * bytes.GetSize());
}
BENCHMARK(BM_ParseEventWithPositions);

}  // namespace

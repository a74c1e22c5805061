// Orders: how they come from the server, how the driver works them off, and
// what goes back to the server and to the navigation application at each
// step.

#include "bkcom/Actions.h"
#include "bkcom/Events.h"
#include "common/Time.h"
#include "data/Database.h"
#include "quorlan/EventOutMessages.h"
#include "quorlan/IncomingMessages.h"
#include "quorlan/ServerValues.h"
#include "velarnd/Application.h"
#include "velarnd/InboxLists.h"
#include "velarnd/NavigationRecords.h"

namespace velarnd {

namespace {

// Orders kept; a new one first pushes the oldest out.
constexpr size_t kMaxOrders = 100;
// Longer strings from the server are cut without notice (lengths in bytes).
constexpr size_t kMaxNumber = 20;
constexpr size_t kMaxOrderText = 500;
constexpr size_t kMaxDestinationDescription = 200;
constexpr size_t kMaxTelephoneField = 32;
// The server may allow the active states of bits 0 to 4.
constexpr unsigned kServerActiveStateMask = 0x1F;

// Workflow codes towards the server.
enum WorkflowCode : unsigned {
  kReceived = 101,
  kRead = 102,
  kAccepted = 103,
  kStarted = 201,  // also "active state bit 0 reached"; bit n gives 201 + n
  kCancelledByDriver = 301,
  kRejected = 302,
  kSuspended = 303,
  kResumed = 304,
  kCompleted = 401,
  kRemovedForRoom = 501,
};

std::string Cut(const std::string& text, size_t length) { return text.substr(0, length); }

void FillTelephoneBook(data::Order& order, const quorlan::TelephoneNumbers& numbers) {
  order.telephoneBook.clear();
  for (const quorlan::TelephoneEntry& entry : numbers) {
    const std::string name = entry.name.IsSet() ? Cut(entry.name.value, kMaxTelephoneField) : std::string();
    order.telephoneBook.emplace_back(Cut(entry.number.value, kMaxTelephoneField), name);
  }
}

void SetDestination(data::Order& order, const quorlan::DestinationGroup& destination) {
  order.destination = data::Position(destination.latitude.value, destination.longitude.value);
  order.destinationDescription = Cut(destination.description.value, kMaxDestinationDescription);
}

void ClearDestination(data::Order& order) {
  order.destination.Clear();
  order.destinationDescription.clear();
}

unsigned BitNumber(unsigned singleBit) {
  unsigned number = 0;
  while (singleBit > 1) {
    singleBit >>= 1;
    ++number;
  }
  return number;
}

}  // namespace

// --- Helpers ---

data::Order* Application::FindOrder(unsigned orderId) {
  auto found = database.orders.find(orderId);
  return found == database.orders.end() ? nullptr : &found->second;
}

void Application::SendOrderWorkflowEvent(const data::Order& order, unsigned code, const std::string& text,
                                         const std::string& recipient, unsigned flags) {
  quorlan::OrderWorkflowEventOutMsg event;
  FillEventHeader(event);
  event.orderId.SetValue(order.id);
  event.orderType.SetValue(quorlan::OrderTypeToServer(static_cast<uint8_t>(order.type)));
  event.workflowCode.SetValue(static_cast<uint16_t>(code));
  if (!text.empty()) {
    event.text.SetValue(text);
  }
  SendToServer(event, recipient, flags);
}

void Application::SendOrderModified(const data::Order& order, bool remote) {
  COrderModifiedEvent event;
  event.order = MakeOrderRecord(order);
  event.remote = remote;
  SendEvent(event);
}

void Application::EraseOrder(unsigned orderId, bool remote) {
  database.orders.erase(orderId);
  COrderDeletedEvent event;
  event.orderId = orderId;
  event.remote = remote;
  SendEvent(event);
}

void Application::EvictOldestOrder() {
  auto oldest = OldestEntry(database.orders);
  SendOrderWorkflowEvent(oldest->second, kRemovedForRoom, "", "", kServerMessageFlags);
  EraseOrder(oldest->first, true);
}

// --- From the server ---

void Application::Handle(const quorlan::NewOrderInMsg& message) {
  const unsigned orderId = message.orderId.value;
  // A second order under one id replaces the first; the server knows, so no
  // workflow event goes out for the old one.
  if (FindOrder(orderId) != nullptr) {
    EraseOrder(orderId, true);
  }
  while (!database.orders.empty() && database.orders.size() >= kMaxOrders) {
    EvictOldestOrder();
  }

  data::Order order(orderId, Cut(message.number.value, kMaxNumber), Cut(message.text.value, kMaxOrderText));
  order.state = message.acceptanceRequired.value ? data::Order::StateNewToAccept : data::Order::StateNew;
  order.activeState = 1;
  order.allowedActiveStates = (message.allowedActiveStates.value & kServerActiveStateMask) | 1u;
  order.arrivalTime = common::GetTime();
  order.lastChangeTime = order.arrivalTime;
  order.sortKey = database.sortKeys.Next();
  order.type = static_cast<data::Order::Type>(quorlan::OrderTypeFromServer(message.orderType.value));
  if (message.destination.IsSet()) {
    SetDestination(order, message.destination.value);
  }
  if (message.telephoneNumbers.IsSet()) {
    FillTelephoneBook(order, message.telephoneNumbers.value);
  }
  order.plannedArrival =
      message.plannedArrival.IsSet() ? common::FromEpoch2000(message.plannedArrival.value) : 0;

  const data::Order& stored = database.orders.emplace(orderId, order).first->second;
  SendOrderWorkflowEvent(stored, kReceived, "", "", kServerMessageFlags);
  COrderReceivedEvent received;
  received.order = MakeOrderRecord(stored);
  SendEvent(received);
}

void Application::Handle(const quorlan::UpdateOrderInMsg& message) {
  data::Order* order = FindOrder(message.orderId.value);
  if (order == nullptr) {
    return;
  }
  if (message.number.IsSet()) {
    order->number = Cut(message.number.value, kMaxNumber);
  }
  if (message.text.IsSet()) {
    order->text = Cut(message.text.value, kMaxOrderText);
  }
  if (message.plannedArrival.state == quorlan::Set) {
    order->plannedArrival = common::FromEpoch2000(message.plannedArrival.value);
  } else if (message.plannedArrival.state == quorlan::Null) {
    order->plannedArrival = 0;
  }
  if (message.telephoneNumbers.state == quorlan::Set) {
    FillTelephoneBook(*order, message.telephoneNumbers.value);
  } else if (message.telephoneNumbers.state == quorlan::Null) {
    order->telephoneBook.clear();
  }
  if (message.destination.state == quorlan::Set) {
    SetDestination(*order, message.destination.value);
  } else if (message.destination.state == quorlan::Null) {
    ClearDestination(*order);
  }
  order->lastChangeTime = common::GetTime();
  SendOrderModified(*order, true);
}

void Application::Handle(const quorlan::CancelOrderInMsg& message) {
  data::Order* order = FindOrder(message.orderId.value);
  if (order == nullptr) {
    return;
  }
  if (!order->IsRead()) {
    // The driver never saw it: it simply goes away.
    EraseOrder(order->id, true);
    return;
  }
  if (order->Cancel(true)) {
    SendOrderModified(*order, true);
  }
}

// --- The driver's actions ---

template <class Step>
void Application::RunOrderAction(const CAbstractOrderAction& action, unsigned code, const std::string& reason,
                                 Step step) {
  boost::recursive_mutex::scoped_lock lock(mutex);
  data::Order* order = FindOrder(action.orderId);
  if (RefusedForRoom(action)) {
    return;
  }
  if (order == nullptr || !step(*order)) {
    Acknowledge(2, action);
    return;
  }
  Acknowledge(1, action);
  SendOrderWorkflowEvent(*order, code, reason, "", kServerMessageFlags);
  SendOrderModified(*order, false);
}

void Application::Handle(const CMarkReadOrderAction& message) {
  RunOrderAction(message, kRead, "", [](data::Order& order) { return order.MarkRead(); });
}

void Application::Handle(const CAcceptOrderAction& message) {
  RunOrderAction(message, kAccepted, "", [](data::Order& order) { return order.Accept(); });
}

void Application::Handle(const CRejectOrderAction& message) {
  RunOrderAction(message, kRejected, message.reason, [](data::Order& order) { return order.Reject(); });
}

void Application::Handle(const CCancelOrderAction& message) {
  RunOrderAction(message, kCancelledByDriver, message.reason,
                 [](data::Order& order) { return order.Cancel(false); });
}

void Application::Handle(const CStartOrderAction& message) {
  const data::OrderList& orders = database.orders;
  RunOrderAction(message, kStarted, "", [&orders](data::Order& order) { return order.Start(orders); });
}

void Application::Handle(const CSuspendOrderAction& message) {
  RunOrderAction(message, kSuspended, "", [](data::Order& order) { return order.Suspend(); });
}

void Application::Handle(const CResumeOrderAction& message) {
  const data::OrderList& orders = database.orders;
  RunOrderAction(message, kResumed, "", [&orders](data::Order& order) { return order.Resume(orders); });
}

void Application::Handle(const CCompleteOrderAction& message) {
  RunOrderAction(message, kCompleted, "", [](data::Order& order) { return order.Complete(); });
}

void Application::Handle(const CChangeActiveStateAction& message) {
  const unsigned bit = message.newActiveState;
  RunOrderAction(message, kStarted + BitNumber(bit), "",
                 [bit](data::Order& order) { return order.ChangeActiveState(bit); });
}

void Application::Handle(const CDeleteOrderAction& message) {
  boost::recursive_mutex::scoped_lock lock(mutex);
  const data::Order* order = FindOrder(message.orderId);
  if (order == nullptr || !order->IsFinished()) {
    Acknowledge(2, message);
    return;
  }
  Acknowledge(1, message);
  EraseOrder(message.orderId, false);
}

}  // namespace velarnd

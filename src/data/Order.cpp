#include "data/Order.h"

#include "common/Time.h"
#include "data/OrderList.h"

namespace data {

void Order::Accept(IInboxEntryVisitor& visitor) { visitor.Visit(*this); }

bool Order::MoveTo(State next) {
  state = next;
  lastChangeTime = common::GetTime();
  return true;
}

bool Order::MarkRead() {
  switch (state) {
    case StateNew:
      return MoveTo(StateRead);
    case StateNewToAccept:
      return MoveTo(StateReadToAccept);
    default:
      return false;
  }
}

bool Order::Accept() { return state == StateReadToAccept && MoveTo(StateAccepted); }

bool Order::Reject() { return state == StateReadToAccept && MoveTo(StateRejected); }

bool Order::Cancel(bool byServer) {
  if (byServer) {
    return state != StateCancelled && MoveTo(StateCancelled);
  }
  switch (state) {
    case StateRead:
    case StateAccepted:
    case StateSuspended:
    case StateActive:
      return MoveTo(StateCancelled);
    default:
      return false;
  }
}

bool Order::Start(const OrderList& orders) {
  if ((state != StateRead && state != StateAccepted) || orders.HasActive()) {
    return false;
  }
  activeState = 1;
  allowedActiveStates |= 1u;
  return MoveTo(StateActive);
}

bool Order::Suspend() { return state == StateActive && MoveTo(StateSuspended); }

bool Order::Resume(const OrderList& orders) {
  return state == StateSuspended && !orders.HasActive() && MoveTo(StateActive);
}

bool Order::Complete() { return state == StateActive && MoveTo(StateCompleted); }

bool Order::ChangeActiveState(unsigned bit) {
  const bool singleBit = bit != 0 && (bit & (bit - 1)) == 0;
  if (state != StateActive || !singleBit || bit == activeState || (bit & allowedActiveStates) == 0) {
    return false;
  }
  activeState = bit;
  lastChangeTime = common::GetTime();
  return true;
}

}  // namespace data

#pragma once

#include <string>
#include <vector>

#include "data/InboxEntry.h"
#include "data/Position.h"
#include "data/TelephoneBookEntry.h"

namespace data {

class OrderList;

// An order from the office and its place in the driver's workflow. The
// workflow operations return true when the transition took place (and then
// lastChangeTime is the present time) and false when the order's state
// doesn't allow it, leaving the order untouched.
class Order : public InboxEntry {
 public:
  // Kinds of order; the office's meaning of each isn't the daemon's concern.
  enum Type : int { Type1 = 1, Type2 = 2, Type3 = 3 };

  enum State : int {
    StateNew = 0,           // needs no acceptance
    StateNewToAccept = 1,   // must be accepted or rejected
    StateReadToAccept = 2,  // read, waits for acceptance
    StateRead = 3,          // read, may be started
    StateAccepted = 4,      // accepted, may be started
    StateCancelled = 5,
    StateRejected = 6,
    StateSuspended = 7,
    StateCompleted = 8,
    StateActive = 9,
  };

  Order(unsigned id, const std::string& number, const std::string& text)
      : InboxEntry(id, text), number(number) {}

  void Accept(IInboxEntryVisitor& visitor) override;
  // Read once it left the two new states.
  bool IsRead() const override { return state > StateNewToAccept; }

  bool MarkRead();
  bool Accept();
  bool Reject();
  // The driver may cancel a read, accepted, suspended or active order; the
  // server may cancel anything that isn't cancelled yet.
  bool Cancel(bool byServer);
  // Start and Resume refuse while another order of orders is active, which
  // keeps at most one active order in a list.
  bool Start(const OrderList& orders);
  bool Suspend();
  bool Resume(const OrderList& orders);
  bool Complete();
  // bit: exactly one bit, other than the present one, inside allowedActiveStates.
  bool ChangeActiveState(unsigned bit);

  bool IsActive() const { return state == StateActive; }
  // Only finished orders may be deleted by the driver.
  bool IsFinished() const {
    return state == StateCancelled || state == StateRejected || state == StateCompleted;
  }

  // Archive form: base InboxEntry, number, destination,
  // destinationDescription, type, state, activeState, allowedActiveStates,
  // plannedArrival, telephoneBook.
  template <class Archive>
  void serialize(Archive& archive, const unsigned int version);

  std::string number;    // shown to the driver
  Position destination;  // (0, 0): none
  std::string destinationDescription;
  Type type = Type1;
  State state = StateNew;
  unsigned activeState = 1;          // the phase of the work: exactly one bit
  unsigned allowedActiveStates = 1;  // the phases this order may take
  unsigned plannedArrival = 0;       // seconds since 1970; 0: none
  std::vector<TelephoneBookEntry> telephoneBook;

 private:
  bool MoveTo(State next);
};

}  // namespace data

BOOST_CLASS_VERSION(data::Order, 1)
BOOST_CLASS_TRACKING(data::Order, boost::serialization::track_never)

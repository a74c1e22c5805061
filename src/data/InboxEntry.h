#pragma once

#include <string>

#include "data/Object.h"

namespace data {

class Order;
class TextMessage;

// Tells an inbox entry's kind without a cast: InboxEntry::Accept calls the
// overload for the entry's own class.
class IInboxEntryVisitor {
 public:
  virtual ~IInboxEntryVisitor() = default;
  virtual void Visit(Order& order) = 0;
  virtual void Visit(TextMessage& message) = 0;
};

// What orders and text messages have in common: a text and a place in the
// inbox. Orders and text messages draw their sortKey from one generator, so
// a larger key is a younger entry in either list.
class InboxEntry : public Object {
 public:
  InboxEntry(unsigned id, const std::string& text) : Object(id), text(text) {}

  virtual void Accept(IInboxEntryVisitor& visitor) = 0;
  virtual bool IsRead() const = 0;

  bool IsNewerThan(const InboxEntry& other) const { return sortKey > other.sortKey; }

  // Archive form: base Object, text, sortKey, arrivalTime, lastChangeTime.
  template <class Archive>
  void serialize(Archive& archive, const unsigned int version);

  std::string text;
  unsigned sortKey = 0;
  unsigned arrivalTime = 0;     // seconds since 1970
  unsigned lastChangeTime = 0;  // seconds since 1970; every successful operation sets it
};

}  // namespace data

BOOST_CLASS_VERSION(data::InboxEntry, 1)
BOOST_CLASS_TRACKING(data::InboxEntry, boost::serialization::track_never)

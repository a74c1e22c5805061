#pragma once

#include <string>

#include "data/InboxEntry.h"

namespace data {

// A text message from the office.
class TextMessage : public InboxEntry {
 public:
  TextMessage(unsigned id, const std::string& text) : InboxEntry(id, text) {}

  void Accept(IInboxEntryVisitor& visitor) override { visitor.Visit(*this); }
  bool IsRead() const override { return read; }

  // True the first time only; then lastChangeTime is the present time.
  bool MarkRead();

  // Archive form: base InboxEntry, read.
  template <class Archive>
  void serialize(Archive& archive, const unsigned int version);

  bool read = false;
};

}  // namespace data

BOOST_CLASS_VERSION(data::TextMessage, 1)
BOOST_CLASS_TRACKING(data::TextMessage, boost::serialization::track_never)

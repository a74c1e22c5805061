#pragma once

#include <string>

#include "data/Object.h"

namespace data {

// A predefined status that the driver can send; id is its number.
class Status : public Object {
 public:
  Status(unsigned id, const std::string& text) : Object(id), text(text) {}

  bool IsBefore(const Status& other) const { return id < other.id; }

  // Archive form: base Object, text.
  template <class Archive>
  void serialize(Archive& archive, const unsigned int version);

  std::string text;
};

}  // namespace data

BOOST_CLASS_VERSION(data::Status, 1)
BOOST_CLASS_TRACKING(data::Status, boost::serialization::track_never)

#pragma once

#include <string>

#include <boost/serialization/tracking.hpp>
#include <boost/serialization/version.hpp>

namespace data {

// One contact number of an order, in the order the server sent them.
class TelephoneBookEntry {
 public:
  TelephoneBookEntry(const std::string& number, const std::string& name) : number(number), name(name) {}

  // Archive form: number, name.
  template <class Archive>
  void serialize(Archive& archive, const unsigned int version);

  std::string number;
  std::string name;  // its label, empty if none
};

}  // namespace data

BOOST_CLASS_VERSION(data::TelephoneBookEntry, 1)
BOOST_CLASS_TRACKING(data::TelephoneBookEntry, boost::serialization::track_never)

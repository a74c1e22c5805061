#pragma once

#include <boost/serialization/access.hpp>
#include <boost/serialization/version.hpp>

namespace common {

// A counter for identifiers whose Next() adds 1 first: the first result of
// Generator(1) is 2. No wrap check: after 4294967295 comes 0.
class Generator {
 public:
  explicit Generator(const unsigned& initial) : value(initial) {}

  unsigned Next() { return ++value; }
  unsigned Current() const { return value; }

  // Archive form (class version 1): value as 4 bytes.
  template <class Archive>
  void serialize(Archive& archive, const unsigned int /*version*/) {
    archive& value;
  }

 private:
  friend class boost::serialization::access;
  unsigned value;
};

}  // namespace common

BOOST_CLASS_VERSION(common::Generator, 1)

#pragma once

#include <boost/serialization/tracking.hpp>
#include <boost/serialization/version.hpp>

namespace data {

// The root of every record kept in a list under an identifier. Records are
// plain values: copied into their lists, never shared through pointers.
class Object {
 public:
  explicit Object(unsigned id) : id(id) {}
  Object(const Object&) = default;
  Object(Object&&) = default;
  Object& operator=(const Object&) = default;
  Object& operator=(Object&&) = default;
  virtual ~Object() = default;

  unsigned GetId() const { return id; }

  // Archive form: id.
  template <class Archive>
  void serialize(Archive& archive, const unsigned int version);

  // The identifier the office gave, or the status number: the record's key
  // in its list.
  unsigned id;
};

}  // namespace data

BOOST_CLASS_VERSION(data::Object, 1)
// Records are never stored through pointers, so nothing in the file refers
// back to an earlier object.
BOOST_CLASS_TRACKING(data::Object, boost::serialization::track_never)

#pragma once

#include <cstdint>
#include <string>

#include "common/Buffer.h"

namespace quorlan {

class AContainerNode;

// Whether a field of a server message was there: Absent (its key isn't in
// the message), Null (the key holds a NullMessageNode) or Set.
enum FieldState : int32_t { Absent = 0, Null = 1, Set = 2 };

namespace detail {
// The value of a new field; common::Buffer has no default constructor.
template <class T>
struct NewValue {
  static T Make() { return T(); }
};
template <>
struct NewValue<common::Buffer> {
  static common::Buffer Make() { return common::Buffer(0, 200); }
};
}  // namespace detail

// The one field type of all server message classes. value means something
// only in the state Set. Groups and lists are fields too: a
// MessageField<PositionGroup> or MessageField<std::vector<...>> carries the
// state of the group as a whole.
template <class T>
struct MessageField {
  MessageField() : value(detail::NewValue<T>::Make()), state(Absent) {}

  void SetValue(const T& newValue) {
    value = newValue;
    state = Set;
  }
  bool IsSet() const { return state == Set; }

  T value;
  FieldState state;
};

// Copies the field under key out of container. A missing key fails with
// ParseException "missing node <key>" if required, else leaves the state
// Absent. A node of the type T needs gives Set (integers are cut to T's width
// without a range check); a NullMessageNode gives Null if nullable; anything
// else fails with ParseException "node <key> has unexpected type".
// Instantiated for uint8_t, uint16_t, uint32_t, int32_t, uint64_t, bool,
// std::string and common::Buffer.
template <class T>
void GetField(AContainerNode& container, uint8_t key, MessageField<T>& field, bool required, bool nullable);

// Writes the field under key: Set gives the node for T (unsigned values are
// widened with zeros, int32_t with its sign; a uint64_t above 2^63 - 1
// wraps), Null gives a NullMessageNode if nullable; otherwise a required
// field fails with SerializeException "can't serialize parameter: <key>" and
// an optional one is left out.
template <class T>
void PutField(AContainerNode& container, uint8_t key, const MessageField<T>& field, bool required,
              bool nullable);

}  // namespace quorlan

#pragma once

#include <sstream>
#include <string>
#include <type_traits>

#include "quorlan/IncomingMessages.h"

// The fields of a parsed message as one line: "-" for Absent, "null" for
// Null, else the value (groups in braces, lists in brackets), so that one
// comparison pins the state and value of every field.
namespace quorlantest {

template <class T>
void Put(std::ostream& out, const T& value) {
  if constexpr (std::is_same_v<T, uint8_t> || std::is_same_v<T, bool>) {
    out << int(value);
  } else {
    out << value;
  }
}
inline void Put(std::ostream& out, const quorlan::DestinationGroup& group);
inline void Put(std::ostream& out, const quorlan::TelephoneNumbers& numbers);

template <class T>
inline void Put(std::ostream& out, const quorlan::MessageField<T>& field) {
  if (field.state == quorlan::Absent) {
    out << '-';
  } else if (field.state == quorlan::Null) {
    out << "null";
  } else {
    Put(out, field.value);
  }
}

template <class... F>
std::string Fields(const F&... fields) {
  std::ostringstream out;
  const char* gap = "";
  ((out << gap, Put(out, fields), gap = " "), ...);
  return out.str();
}

inline void Put(std::ostream& out, const quorlan::DestinationGroup& group) {
  out << '{' << Fields(group.latitude, group.longitude, group.description) << '}';
}
inline void Put(std::ostream& out, const quorlan::TelephoneNumbers& numbers) {
  out << '[';
  for (const auto& entry : numbers) {
    out << '{' << Fields(entry.name, entry.number) << '}';
  }
  out << ']';
}

}  // namespace quorlantest

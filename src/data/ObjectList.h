#pragma once

#include <map>

namespace data {

// Records by id, in ascending order of id. Nothing beyond the map: lookups,
// insertion and removal are the map's own. Ids are unique within a list, and
// a record that arrives under an id already present replaces the old one by
// erasing it first. The limits of a list belong to its users.
template <class T>
class ObjectList : public std::map<unsigned int, T> {
 public:
  // Archive form (class version 0): base std::map.
  template <class Archive>
  void serialize(Archive& archive, const unsigned int version);
};

}  // namespace data

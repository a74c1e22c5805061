#pragma once

#include <cstdint>
#include <vector>

namespace velarnd {

// Walks over the daemon's two inbox lists (orders and text messages), which
// are maps from id to entry with a sortKey each.

// The entry with the smallest sortKey, the oldest of the list; the list must
// not be empty.
template <class List>
typename List::iterator OldestEntry(List& list) {
  auto oldest = list.begin();
  for (auto it = list.begin(); it != list.end(); ++it) {
    if (it->second.sortKey < oldest->second.sortKey) {
      oldest = it;
    }
  }
  return oldest;
}

// The ids of the entries that keep accepts, in ascending id.
template <class List, class Keep>
std::vector<uint32_t> IdsOf(const List& list, Keep keep) {
  std::vector<uint32_t> ids;
  for (const auto& entry : list) {
    if (keep(entry.second)) {
      ids.push_back(entry.first);
    }
  }
  return ids;
}

}  // namespace velarnd

#include "data/Database.h"

#include <algorithm>

#include "data/DatabaseFile.h"

namespace data {

Database::Database(const std::string& path) : sortKeys(1), path(path) {}

bool Database::Load() {
  try {
    ReadDatabaseFile(path, *this);
    return true;
  } catch (const std::exception&) {
    // Nothing of a partly read file may remain.
    *this = Database(path);
    return false;
  }
}

bool Database::Save() {
  try {
    WriteDatabaseFile(*this, path);
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

void Database::CollectInbox(std::deque<InboxEntry*>& entries, bool unreadOnly) {
  entries.clear();
  for (auto& entry : orders) {
    if (!unreadOnly || !entry.second.IsRead()) {
      entries.push_back(&entry.second);
    }
  }
  for (auto& entry : textMessages) {
    if (!unreadOnly || !entry.second.IsRead()) {
      entries.push_back(&entry.second);
    }
  }
  std::stable_sort(entries.begin(), entries.end(),
                   [](const InboxEntry* a, const InboxEntry* b) { return a->IsNewerThan(*b); });
}

void Database::GetInboxEntries(std::deque<InboxEntry*>& entries) { CollectInbox(entries, false); }

void Database::GetUnreadInboxEntries(std::deque<InboxEntry*>& entries) { CollectInbox(entries, true); }

namespace {

void CollectStatuses(ObjectList<Status>& list, std::deque<Status*>& entries) {
  entries.clear();
  // The map's order is ascending id already.
  for (auto& entry : list) {
    entries.push_back(&entry.second);
  }
}

}  // namespace

void Database::GetStatuses(std::deque<Status*>& entries) { CollectStatuses(statuses, entries); }

void Database::GetOrderStatuses(std::deque<Status*>& entries) { CollectStatuses(orderStatuses, entries); }

}  // namespace data

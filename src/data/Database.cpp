#include "data/Database.h"

#include <errno.h>
#include <stdio.h>
#include <sys/stat.h>

#include <algorithm>

#include "common/Exceptions.h"
#include "data/DatabaseFile.h"

namespace data {

Database::Database(const std::string& path) : sortKeys(1), path(path) {}

Database::Found Database::Read() {
  try {
    return ReadDatabaseFile(path, *this).empty() ? Found::Database : Found::RepairedDatabase;
  } catch (const std::exception& error) {
    // Nothing of a partly read file may remain.
    *this = Database(path);
    const IOException* failure = dynamic_cast<const IOException*>(&error);
    struct stat status {};
    const bool empty = ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && status.st_size == 0;
    return (failure != nullptr && failure->GetErrorNumber() == ENOENT) || empty ? Found::Nothing
                                                                                : Found::Damage;
  }
}

bool Database::Load() {
  const Found found = Read();
  return found == Found::Database || found == Found::RepairedDatabase;
}

Database::Found Database::Open() {
  const Found found = Read();
  if (found == Found::Nothing) {
    Save();
  } else if (found == Found::Damage) {
    KeepDamagedFile(path);
    Save();
  } else if (found == Found::RepairedDatabase) {
    // A repair keeps the records but may drop what the file held beyond
    // them: the original stays beside the repaired file for the operator.
    const std::string aside = KeepDamagedFile(path);
    if (!Save() && !aside.empty()) {
      const std::string original = aside.substr(0, aside.size() - (sizeof(kDamagedSuffix) - 1));
      ::rename(aside.c_str(), original.c_str());
    }
  }
  return found;
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

#pragma once

#include <deque>
#include <string>

#include <boost/serialization/tracking.hpp>
#include <boost/serialization/version.hpp>

#include "common/Generator.h"
#include "data/ConfigParameters.h"
#include "data/ObjectList.h"
#include "data/OrderList.h"
#include "data/Status.h"
#include "data/TextMessage.h"
#include "data/VelarnParameters.h"
#include "data/WorkingTimeReporting.h"
#include "data/ZUParameters.h"

namespace data {

// All that the daemon keeps between two starts, read once at the start and
// written as a whole (see docs/database-format.md for the file). No lock of
// its own: its one user works on the public members under its own mutex.
class Database {
 public:
  // All members at their defaults; touches no file.
  explicit Database(const std::string& path);

  // Replaces the state by the file's content. False if the file is missing,
  // unreadable or damaged in any way; the state is then that of a new
  // database. Content that Boost's own reader accepts but that breaks a rule
  // of ours is repaired and counts as read (docs/database-format.md).
  // Never throws.
  bool Load();
  // Writes the whole state so that a crash at any moment leaves either the
  // old or the new complete file. False if that didn't work. Never throws.
  bool Save();

  // What Open() found at path.
  enum class Found {
    Database,          // a database, read as it was
    RepairedDatabase,  // a database, read with repairs (see Load)
    Nothing,           // no file, or an empty one
    Damage,            // a file that couldn't be read
  };
  // The daemon's start: Load(), and then make sure that a good file stands
  // at path without losing anything that was there. Nothing: a new database
  // is saved. Damage: the file is kept aside as "<path>.damaged" (see
  // KeepDamagedFile), and a new database is saved. RepairedDatabase: the
  // file as found is kept aside the same way and the repaired state is
  // saved at once; if that save fails, the original is put back. Never
  // throws; a failed save doesn't stop the start.
  Found Open();

  // The inbox, newest entry first whatever its kind (equal keys keep orders
  // before text messages, each in ascending id).
  void GetInboxEntries(std::deque<InboxEntry*>& entries);
  // The same, unread entries only.
  void GetUnreadInboxEntries(std::deque<InboxEntry*>& entries);
  // The records of a status list in ascending id.
  void GetStatuses(std::deque<Status*>& entries);
  void GetOrderStatuses(std::deque<Status*>& entries);

  // Archive form: the members below, path excepted, in this order.
  template <class Archive>
  void serialize(Archive& archive, const unsigned int version);

  OrderList orders;
  ObjectList<TextMessage> textMessages;
  ObjectList<Status> statuses;
  ObjectList<Status> orderStatuses;
  WorkingTimeReporting workingTime;
  // Source of every inbox entry's sortKey; the first key of a new database is 2.
  common::Generator sortKeys;
  ConfigParameters config;
  VelarnParameters velarn;
  ZUParameters zu;

  std::string path;  // the file; not part of it

 private:
  Found Read();
  void CollectInbox(std::deque<InboxEntry*>& entries, bool unreadOnly);
};

}  // namespace data

BOOST_CLASS_VERSION(data::Database, 1)
BOOST_CLASS_TRACKING(data::Database, boost::serialization::track_never)

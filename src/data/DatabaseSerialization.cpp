// The archive forms of all records and of the database, in one translation
// unit: Boost.Serialization's templates are expensive to compile, and only
// the database file needs them.
#include <sstream>
#include <string>
#include <utility>

#include "data/BinaryArchive.h"

#include <boost/serialization/base_object.hpp>
#include <boost/serialization/map.hpp>
#include <boost/serialization/string.hpp>
#include <boost/serialization/utility.hpp>
#include <boost/serialization/vector.hpp>

#include "common/Exceptions.h"
#include "data/Database.h"
#include "data/DatabaseFile.h"

namespace data {

namespace {

// Every element of every collection in the file takes at least 8 bytes: a
// telephone book entry has two string lengths, a list element a key and a
// record with at least an id and a string length.
constexpr std::size_t kMinimumElementSize = 8;

// A class version above ours comes from a newer program whose fields we
// can't know: the file is refused rather than misread.
template <class T>
void CheckVersion(unsigned version) {
  const unsigned known = boost::serialization::version<T>::value;
  if (version > known) {
    throw ParseException("class version " + std::to_string(version) + " above the known " +
                         std::to_string(known));
  }
}

template <class T>
void CheckKeys(const ObjectList<T>& list, const char* what) {
  for (const auto& entry : list) {
    if (entry.first != entry.second.id) {
      throw ParseException(std::string(what) + " " + std::to_string(entry.second.id) + " stored under id " +
                           std::to_string(entry.first));
    }
  }
}

}  // namespace

// Records have no default constructor: Boost builds list elements and
// telephone book entries through these before reading into them.
template <class Archive>
void load_construct_data(Archive&, std::pair<const unsigned int, Order>* element, const unsigned int) {
  ::new (element) std::pair<const unsigned int, Order>(0, Order(0, std::string(), std::string()));
}

template <class Archive>
void load_construct_data(Archive&, std::pair<const unsigned int, TextMessage>* element, const unsigned int) {
  ::new (element) std::pair<const unsigned int, TextMessage>(0, TextMessage(0, std::string()));
}

template <class Archive>
void load_construct_data(Archive&, std::pair<const unsigned int, Status>* element, const unsigned int) {
  ::new (element) std::pair<const unsigned int, Status>(0, Status(0, std::string()));
}

template <class Archive>
void load_construct_data(Archive&, TelephoneBookEntry* entry, const unsigned int) {
  ::new (entry) TelephoneBookEntry(std::string(), std::string());
}

template <class Archive>
void Object::serialize(Archive& archive, const unsigned int version) {
  CheckVersion<Object>(version);
  archive& id;
}

template <class Archive>
void InboxEntry::serialize(Archive& archive, const unsigned int version) {
  CheckVersion<InboxEntry>(version);
  archive& boost::serialization::base_object<Object>(*this);
  archive& text& sortKey& arrivalTime& lastChangeTime;
}

template <class Archive>
void Position::serialize(Archive& archive, const unsigned int version) {
  CheckVersion<Position>(version);
  archive& latitude& longitude;
}

template <class Archive>
void TelephoneBookEntry::serialize(Archive& archive, const unsigned int version) {
  CheckVersion<TelephoneBookEntry>(version);
  archive& number& name;
}

template <class Archive>
void Order::serialize(Archive& archive, const unsigned int version) {
  CheckVersion<Order>(version);
  archive& boost::serialization::base_object<InboxEntry>(*this);
  archive& number& destination& destinationDescription& type& state& activeState& allowedActiveStates&
      plannedArrival& telephoneBook;
}

template <class Archive>
void TextMessage::serialize(Archive& archive, const unsigned int version) {
  CheckVersion<TextMessage>(version);
  archive& boost::serialization::base_object<InboxEntry>(*this);
  archive& read;
}

template <class Archive>
void Status::serialize(Archive& archive, const unsigned int version) {
  CheckVersion<Status>(version);
  archive& boost::serialization::base_object<Object>(*this);
  archive& text;
}

template <class T>
template <class Archive>
void ObjectList<T>::serialize(Archive& archive, const unsigned int /*version*/) {
  archive& boost::serialization::base_object<std::map<unsigned int, T>>(*this);
}

template <class Archive>
void OrderList::serialize(Archive& archive, const unsigned int version) {
  CheckVersion<OrderList>(version);
  archive& boost::serialization::base_object<ObjectList<Order>>(*this);
}

template <class Archive>
void GPSInfo::serialize(Archive& archive, const unsigned int version) {
  CheckVersion<GPSInfo>(version);
  archive& status& position& time& satellites& speed& course;
}

template <class Archive>
void LogbookInfo::serialize(Archive& archive, const unsigned int version) {
  CheckVersion<LogbookInfo>(version);
  archive& mode& tripValid& tripOdometer& tripStarted& tripDuration& tripDistance;
}

template <class Archive>
void WorkingTimeReporting::serialize(Archive& archive, const unsigned int version) {
  CheckVersion<WorkingTimeReporting>(version);
  archive& state& lastChange& startOfWork& endOfWork& startOfLastPause& endOfLastPause;
}

// Fields added by later versions keep their defaults when an older file is
// read: the object being read into is a new one.
template <class Archive>
void ConfigParameters::serialize(Archive& archive, const unsigned int version) {
  CheckVersion<ConfigParameters>(version);
  if (version >= 2) {
    archive& configured;
  }
  archive& askDriverId& logbookEnabled& thirdLogbookMode& workingTimeEnabled& logbookFollowsWorkingTime&
      etaEnabled& etaIntervalHome& etaIntervalRoaming& privacyEnabled;
  if (version >= 2) {
    archive& resetMode;
  }
  if (version >= 3) {
    archive& newSessionBoundary;
  }
}

template <class Archive>
void VelarnParameters::serialize(Archive& archive, const unsigned int version) {
  CheckVersion<VelarnParameters>(version);
  archive& linkLostAt& gps& odometer& tripValue& registered& homeNetwork& logbook;
  if (version >= 2) {
    archive& gpsFeedEnabled;
  }
}

template <class Archive>
void ZUParameters::serialize(Archive& archive, const unsigned int version) {
  CheckVersion<ZUParameters>(version);
  archive& lastEta& etaOrderId& driverId& reservedTime& gps& logbookMode;
  if (version >= 2) {
    archive& NCVersion& NCBuild& SNR;
  }
}

template <class Archive>
void Database::serialize(Archive& archive, const unsigned int version) {
  CheckVersion<Database>(version);
  archive& orders& textMessages& statuses& orderStatuses& workingTime& sortKeys& config& velarn& zu;
}

void WriteDatabase(const Database& database, std::streambuf& out) {
  BinaryOArchive archive(out);
  archive << database;
}

std::string EncodeDatabase(const Database& database) {
  std::stringbuf out(std::ios::out | std::ios::binary);
  WriteDatabase(database, out);
  return out.str();
}

void DecodeDatabase(const char* bytes, std::size_t size, Database& database) {
  Database loaded(database.path);
  ArchiveInput input(bytes, size);
  {
    BinaryIArchive archive(input, kMinimumElementSize);
    archive >> loaded;
  }
  if (input.Remaining() != 0) {
    throw ParseException(std::to_string(input.Remaining()) + " bytes behind the end of the database");
  }
  CheckKeys(loaded.orders, "order");
  CheckKeys(loaded.textMessages, "text message");
  CheckKeys(loaded.statuses, "status");
  CheckKeys(loaded.orderStatuses, "order status");
  database = std::move(loaded);
}

void DecodeDatabase(const std::string& bytes, Database& database) {
  DecodeDatabase(bytes.data(), bytes.size(), database);
}

}  // namespace data

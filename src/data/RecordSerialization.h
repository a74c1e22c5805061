#pragma once

// The archive forms of all records and of the database, as templates over
// the archive: our own BinaryIArchive/BinaryOArchive use them for the file,
// and so can Boost's stock binary archives, which is how the tests prove
// that we read what Boost's own reader reads. Include this in one
// translation unit per archive only: Boost.Serialization's templates are
// expensive to compile.

#include <map>
#include <string>
#include <utility>
#include <vector>

#include <boost/serialization/base_object.hpp>
#include <boost/serialization/collection_size_type.hpp>
#include <boost/serialization/collections_save_imp.hpp>
#include <boost/serialization/detail/stack_constructor.hpp>
#include <boost/serialization/item_version_type.hpp>
#include <boost/serialization/library_version_type.hpp>
#include <boost/serialization/nvp.hpp>
#include <boost/serialization/string.hpp>
#include <boost/serialization/utility.hpp>
#include <boost/serialization/vector.hpp>

#include "common/Exceptions.h"
#include "data/BinaryArchive.h"
#include "data/Database.h"

namespace data {

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

// Our archive keeps the repairs it made; any other reads without telling.
inline void NoteRepair(BinaryIArchive& archive, const std::string& text) { archive.NoteRepair(text); }
template <class Archive>
void NoteRepair(Archive&, const std::string&) {}

inline const char* RecordName(const Order&) { return "order"; }
inline const char* RecordName(const TextMessage&) { return "text message"; }
inline const char* RecordName(const Status&) { return "status"; }

// Places the records that the file holds under a key other than their id,
// or under a key that an earlier record took. The id is what the office and
// the navigation application know a record by, so a record goes under its
// id where that is free; else it stays under the key the file gave it; only
// a record whose id and key both belong to others is dropped (for a second
// record under one key, Boost's own reader keeps the first as well).
template <class Archive, class T>
void PlaceMisplaced(Archive& archive, std::map<unsigned int, T>& list,
                    std::vector<std::pair<unsigned int, T>>& misplaced) {
  for (auto& entry : misplaced) {
    const unsigned key = entry.first;
    const unsigned id = entry.second.id;
    const std::string what = std::string(RecordName(entry.second)) + " " + std::to_string(id);
    if (key == id) {
      NoteRepair(archive, "second " + what + " under key " + std::to_string(key) + " dropped");
    } else if (list.try_emplace(id, std::move(entry.second)).second) {
      NoteRepair(archive, what + " stored under key " + std::to_string(key) + ": moved under its id");
    } else if (list.try_emplace(key, std::move(entry.second)).second) {
      NoteRepair(archive,
                 what + " stored under key " + std::to_string(key) + ": its id is taken, left there");
    } else {
      NoteRepair(archive, what + " stored under key " + std::to_string(key) + " dropped: both are taken");
    }
  }
}

// Boost's map form, element for element: a count, an item version from
// library version 4 on, then each element as a std::pair (preamble at first
// use, key, record). Unlike Boost's own map reader, which drops an element
// whose key is taken and trusts every key, this one keeps the records that
// stand under a wrong key. On damage the list keeps every whole record read
// before it.
template <class Archive, class T>
void LoadList(Archive& archive, std::map<unsigned int, T>& list) {
  using Element = std::pair<const unsigned int, T>;
  list.clear();
  boost::serialization::collection_size_type count;
  archive >> BOOST_SERIALIZATION_NVP(count);
  boost::serialization::item_version_type itemVersion(0);
  if (boost::serialization::library_version_type(3) < archive.get_library_version()) {
    archive >> BOOST_SERIALIZATION_NVP(itemVersion);
  }
  std::vector<std::pair<unsigned int, T>> misplaced;
  try {
    for (std::size_t i = 0; i < count; ++i) {
      boost::serialization::detail::stack_construct<Archive, Element> element(archive, itemVersion);
      archive >> boost::serialization::make_nvp("item", element.reference());
      Element& read = element.reference();
      if (read.first != read.second.id || !list.try_emplace(read.first, read.second).second) {
        misplaced.emplace_back(read.first, std::move(read.second));
      }
    }
  } catch (...) {
    PlaceMisplaced(archive, list, misplaced);
    throw;
  }
  PlaceMisplaced(archive, list, misplaced);
}

template <class Archive, class T>
void SerializeList(Archive& archive, std::map<unsigned int, T>& list) {
  if constexpr (Archive::is_saving::value) {
    boost::serialization::stl::save_collection(archive, static_cast<const std::map<unsigned int, T>&>(list));
  } else {
    LoadList(archive, list);
  }
}

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

}  // namespace data

// The lists' maps go through SerializeList instead of Boost's map code; these
// overloads are more specialised than Boost's, whichever is seen.
namespace boost {
namespace serialization {

template <class Archive>
void serialize(Archive& archive, std::map<unsigned int, data::Order>& list, const unsigned int) {
  data::SerializeList(archive, list);
}

template <class Archive>
void serialize(Archive& archive, std::map<unsigned int, data::TextMessage>& list, const unsigned int) {
  data::SerializeList(archive, list);
}

template <class Archive>
void serialize(Archive& archive, std::map<unsigned int, data::Status>& list, const unsigned int) {
  data::SerializeList(archive, list);
}

}  // namespace serialization
}  // namespace boost

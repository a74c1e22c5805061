#include "data/BinaryArchive.h"

#include <cstdint>
#include <cstring>
#include <limits>
#include <string>

// Boost's archive templates are compiled here, once, for our two archives.
#include <boost/archive/impl/archive_serializer_map.ipp>
#include <boost/archive/impl/basic_binary_iarchive.ipp>
#include <boost/archive/impl/basic_binary_iprimitive.ipp>
#include <boost/archive/impl/basic_binary_oarchive.ipp>
#include <boost/archive/impl/basic_binary_oprimitive.ipp>

#include "common/Exceptions.h"

namespace boost {
namespace archive {
namespace detail {
template class archive_serializer_map<data::BinaryOArchive>;
template class archive_serializer_map<data::BinaryIArchive>;
}  // namespace detail
template class basic_binary_oprimitive<data::BinaryOArchive, char, std::char_traits<char>>;
template class basic_binary_oarchive<data::BinaryOArchive>;
template class binary_oarchive_impl<data::BinaryOArchive, char, std::char_traits<char>>;
template class basic_binary_iprimitive<data::BinaryIArchive, char, std::char_traits<char>>;
template class basic_binary_iarchive<data::BinaryIArchive>;
template class binary_iarchive_impl<data::BinaryIArchive, char, std::char_traits<char>>;
}  // namespace archive
}  // namespace boost

namespace data {

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
              "the archive writes integers in native order, and the files are little-endian");
static_assert(sizeof(int) == 4 && sizeof(float) == 4 && sizeof(double) == 8,
              "the header records the device's type sizes");

namespace {

constexpr char kSignature[] = "serialization::archive";
constexpr uint32_t kSignatureLength = sizeof(kSignature) - 1;
// What the header says, as on the device.
constexpr unsigned char kSizeOfInt = 4;
constexpr unsigned char kSizeOfLong = 4;
constexpr unsigned char kSizeOfFloat = 4;
constexpr unsigned char kSizeOfDouble = 8;
constexpr int32_t kByteOrderCheck = 1;

constexpr unsigned kNoFlags = boost::archive::no_header | boost::archive::no_codecvt;

}  // namespace

BinaryOArchive::BinaryOArchive(std::streambuf& out) : Base(out, kNoFlags) {
  const uint32_t length = kSignatureLength;
  save_binary(&length, sizeof(length));
  save_binary(kSignature, kSignatureLength);
  const unsigned char version = kArchiveLibraryVersion;
  save_binary(&version, 1);
  const unsigned char sizes[] = {kSizeOfInt, kSizeOfLong, kSizeOfFloat, kSizeOfDouble};
  save_binary(sizes, sizeof(sizes));
  save_binary(&kByteOrderCheck, sizeof(kByteOrderCheck));
}

void BinaryOArchive::save_override(const boost::archive::version_type& version) {
  const unsigned value = version;
  if (value > std::numeric_limits<unsigned char>::max()) {
    throw SerializeException("class version above 255");
  }
  const unsigned char byte = static_cast<unsigned char>(value);
  save_binary(&byte, 1);
}

void BinaryOArchive::save_override(const boost::archive::tracking_type& tracking) {
  const unsigned char byte = tracking.t ? 1 : 0;
  save_binary(&byte, 1);
}

void BinaryOArchive::save_override(const boost::serialization::collection_size_type& count) {
  SaveUnsigned32(count, "collection");
}

void BinaryOArchive::save(const std::string& text) {
  SaveUnsigned32(text.size(), "string");
  save_binary(text.data(), text.size());
}

void BinaryOArchive::SaveUnsigned32(std::size_t value, const char* what) {
  if (value > std::numeric_limits<uint32_t>::max()) {
    throw SerializeException(std::string(what) + " too long for the file");
  }
  const uint32_t word = static_cast<uint32_t>(value);
  save_binary(&word, sizeof(word));
}

ArchiveInput::ArchiveInput(const char* bytes, std::size_t size) {
  // The buffer is only read, never written through.
  char* begin = const_cast<char*>(bytes);
  setg(begin, begin, begin + size);
}

BinaryIArchive::BinaryIArchive(ArchiveInput& input, std::size_t minimumElementSize)
    : Base(input, kNoFlags),
      input(input),
      minimumElementSize(minimumElementSize == 0 ? 1 : minimumElementSize) {
  ReadHeader();
}

void BinaryIArchive::ReadHeader() {
  input.BeginItem();
  if (LoadUnsigned32() != kSignatureLength) {
    throw ParseException("not an archive: wrong signature");
  }
  Require(kSignatureLength);
  char signature[kSignatureLength];
  load_binary(signature, kSignatureLength);
  if (std::memcmp(signature, kSignature, kSignatureLength) != 0) {
    throw ParseException("not an archive: wrong signature");
  }
  input.BeginItem();
  const unsigned version = LoadByte();
  if (version > kArchiveLibraryVersion) {
    throw ParseException("archive library version " + std::to_string(version) + " is newer than " +
                         std::to_string(kArchiveLibraryVersion));
  }
  input.BeginItem();
  const unsigned char intSize = LoadByte();
  const unsigned char longSize = LoadByte();
  const unsigned char floatSize = LoadByte();
  const unsigned char doubleSize = LoadByte();
  if (intSize != kSizeOfInt || longSize != kSizeOfLong || floatSize != kSizeOfFloat ||
      doubleSize != kSizeOfDouble) {
    throw ParseException("archive from a platform with other type sizes");
  }
  input.BeginItem();
  if (LoadUnsigned32() != static_cast<unsigned>(kByteOrderCheck)) {
    throw ParseException("archive with another byte order");
  }
  // Tells Boost's collection code that no item versions follow the counts,
  // and this archive how wide the class versions are.
  set_library_version(boost::serialization::library_version_type(version));
}

void BinaryIArchive::Require(std::size_t bytes) const {
  if (bytes > input.Remaining()) {
    throw ParseException("archive ends early");
  }
}

unsigned BinaryIArchive::LoadUnsigned32() {
  Require(4);
  uint32_t word = 0;
  load_binary(&word, sizeof(word));
  return word;
}

unsigned char BinaryIArchive::LoadByte() {
  Require(1);
  unsigned char byte = 0;
  load_binary(&byte, 1);
  return byte;
}

void BinaryIArchive::load_override(boost::archive::version_type& version) {
  input.BeginItem();
  // Library versions 2 and below kept the class version in an unsigned int.
  const bool wide = get_library_version() < boost::serialization::library_version_type(3);
  version = boost::archive::version_type(wide ? LoadUnsigned32() : LoadByte());
}

void BinaryIArchive::load_override(boost::archive::tracking_type& tracking) {
  // We never write a tracked class, but another writer may have: Boost then
  // reads an object id in front of each object of the class. No record is
  // read through a pointer, so an id that refers back to an earlier object
  // only leaves that object as it was constructed, as in Boost's own reader.
  input.BeginItem();
  tracking = boost::archive::tracking_type(LoadByte() != 0);
}

void BinaryIArchive::load_override(boost::serialization::collection_size_type& count) {
  input.BeginItem();
  const unsigned value = LoadUnsigned32();
  if (value > input.Remaining() / minimumElementSize) {
    throw ParseException("collection of " + std::to_string(value) +
                         " elements beyond the end of the archive");
  }
  count = boost::serialization::collection_size_type(value);
}

void BinaryIArchive::load_override(boost::serialization::item_version_type& version) {
  // Library versions 3 and below have no item versions; Boost doesn't ask
  // for one.
  version = boost::serialization::item_version_type(0);
}

void BinaryIArchive::load(bool& value) {
  input.BeginItem();
  const unsigned char byte = LoadByte();
  if (byte > 1) {
    NoteRepair("boolean of value " + std::to_string(byte) + " at byte offset " +
               std::to_string(input.ItemOffset()) + " read as true");
  }
  value = byte != 0;
}

void BinaryIArchive::load(std::string& text) {
  input.BeginItem();
  const unsigned length = LoadUnsigned32();
  if (length > input.Remaining()) {
    throw ParseException("string of " + std::to_string(length) + " bytes beyond the end of the archive");
  }
  text.resize(length);
  if (length != 0) {
    load_binary(&text[0], length);
  }
}

}  // namespace data

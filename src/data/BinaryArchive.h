#pragma once

// The binary archive of our files: Boost.Serialization's binary archive in
// the layout of its library version 3, the same bytes on every platform. The
// device is 32-bit ARM, and the header says so (int 4, long 4, float 4,
// double 8) wherever the file is written. On top of Boost's binary archive:
//   - the 35-byte header is written and checked here;
//   - a class version takes 1 byte, a tracking flag 1 byte, a collection
//     count 4 bytes, and collections carry no item version;
//   - a string is a 4-byte length and its bytes.
// Integers go in native order; every platform we build for is little-endian,
// which is what the header's byte order check records.
//
// The input side reads from memory so that it knows how many bytes are left:
// no length or count in a file can make it allocate more than the file could
// hold, and it never reads behind the end. Every failure is an exception
// derived from std::exception.

#include <cstddef>
#include <streambuf>
#include <string>

#include <boost/archive/binary_iarchive_impl.hpp>
#include <boost/archive/binary_oarchive_impl.hpp>
#include <boost/serialization/collection_size_type.hpp>
#include <boost/serialization/item_version_type.hpp>

namespace data {

// The archive library version of our files.
constexpr unsigned kArchiveLibraryVersion = 3;

class BinaryOArchive
    : public boost::archive::binary_oarchive_impl<BinaryOArchive, char, std::char_traits<char>> {
 public:
  // Writes the header into out.
  explicit BinaryOArchive(std::streambuf& out);

  boost::serialization::library_version_type get_library_version() const {
    return boost::serialization::library_version_type(kArchiveLibraryVersion);
  }

 private:
  using Base = boost::archive::binary_oarchive_impl<BinaryOArchive, char, std::char_traits<char>>;
  friend class boost::archive::detail::interface_oarchive<BinaryOArchive>;
  friend class boost::archive::detail::common_oarchive<BinaryOArchive>;
  friend class boost::archive::basic_binary_oarchive<BinaryOArchive>;
  friend class boost::archive::basic_binary_oprimitive<BinaryOArchive, char, std::char_traits<char>>;
  friend Base;
  friend class boost::archive::save_access;

  template <class T>
  void save_override(const T& t) {
    Base::save_override(t);
  }
  void save_override(const boost::archive::version_type& version);
  void save_override(const boost::archive::tracking_type& tracking);
  void save_override(const boost::serialization::collection_size_type& count);
  void save_override(const boost::serialization::item_version_type& /*version*/) {}

  template <class T>
  void save(const T& t) {
    Base::save(t);
  }
  void save(const std::string& text);
  void SaveUnsigned32(std::size_t value, const char* what);
};

// The bytes that a BinaryIArchive reads, with the count of those left.
class ArchiveInput : public std::streambuf {
 public:
  ArchiveInput(const char* bytes, std::size_t size);
  std::size_t Remaining() const { return static_cast<std::size_t>(egptr() - gptr()); }
};

class BinaryIArchive
    : public boost::archive::binary_iarchive_impl<BinaryIArchive, char, std::char_traits<char>> {
 public:
  // Reads and checks the header: the signature, a library version of 3 or
  // lower, the four type sizes and the byte order. minimumElementSize is the
  // least number of bytes that one element of any collection of the file
  // takes: a count that the rest of the file can't hold is refused before
  // anything is allocated for it.
  explicit BinaryIArchive(ArchiveInput& input, std::size_t minimumElementSize = 1);

 private:
  using Base = boost::archive::binary_iarchive_impl<BinaryIArchive, char, std::char_traits<char>>;
  friend class boost::archive::detail::interface_iarchive<BinaryIArchive>;
  friend class boost::archive::detail::common_iarchive<BinaryIArchive>;
  friend class boost::archive::basic_binary_iarchive<BinaryIArchive>;
  friend class boost::archive::basic_binary_iprimitive<BinaryIArchive, char, std::char_traits<char>>;
  friend Base;
  friend class boost::archive::load_access;

  template <class T>
  void load_override(T& t) {
    Base::load_override(t);
  }
  void load_override(boost::archive::version_type& version);
  void load_override(boost::archive::tracking_type& tracking);
  void load_override(boost::serialization::collection_size_type& count);
  void load_override(boost::serialization::item_version_type& version);

  template <class T>
  void load(T& t) {
    Require(sizeof(T));
    Base::load(t);
  }
  void load(bool& value);
  void load(std::string& text);

  // Throws unless bytes more bytes are left.
  void Require(std::size_t bytes) const;
  unsigned LoadUnsigned32();
  unsigned char LoadByte();
  void ReadHeader();

  ArchiveInput& input;
  std::size_t minimumElementSize;
};

}  // namespace data

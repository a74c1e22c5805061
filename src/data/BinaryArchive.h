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
// The input side reads what Boost's own binary_iarchive reads on the device
// for library versions 0 to 3: the same layout, except that library versions
// 2 and below store a class version in 4 bytes. It follows the file's
// tracking flags as Boost does (a tracked class has a 4-byte object id in
// front of each object, which Boost's object code reads). Where Boost takes
// a byte other than 0 and 1 into a bool, undefined, this archive reads true
// and notes the repair. It reads from memory so that it knows how many bytes
// are left: no length or count in a file can make it allocate more than the
// file could hold, and it never reads behind the end. Every failure is an
// exception derived from std::exception; ItemOffset() then tells where.

#include <cstddef>
#include <streambuf>
#include <string>
#include <vector>

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

// The bytes that a BinaryIArchive reads, with the count of those read and
// left, and the offset of the item that the archive began to read last.
class ArchiveInput : public std::streambuf {
 public:
  ArchiveInput(const char* bytes, std::size_t size);
  std::size_t Remaining() const { return static_cast<std::size_t>(egptr() - gptr()); }
  std::size_t Consumed() const { return static_cast<std::size_t>(gptr() - eback()); }
  std::size_t ItemOffset() const { return itemOffset; }
  void BeginItem() { itemOffset = Consumed(); }

 private:
  std::size_t itemOffset = 0;
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

  // What was read in a form that breaks a rule of ours and was repaired, in
  // the order found; NoteRepair adds to it (used by the record code too).
  const std::vector<std::string>& Repairs() const { return repairs; }
  void NoteRepair(const std::string& text) { repairs.push_back(text); }
  std::size_t ItemOffset() const { return input.ItemOffset(); }
  // The address of the member of the outermost object that was being read
  // last: after a failure, the member in which it happened.
  const void* CurrentMember() const { return currentMember; }

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
    if (depth == 1) {
      currentMember = &t;
    }
    ++depth;
    Base::load_override(t);
    --depth;
  }
  void load_override(boost::archive::version_type& version);
  void load_override(boost::archive::tracking_type& tracking);
  void load_override(boost::serialization::collection_size_type& count);
  void load_override(boost::serialization::item_version_type& version);

  template <class T>
  void load(T& t) {
    input.BeginItem();
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
  std::vector<std::string> repairs;
  // How deep in objects the archive is; an exception leaves it as it was.
  int depth = 0;
  const void* currentMember = nullptr;
};

}  // namespace data

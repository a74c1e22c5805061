#pragma once

// The records of the navigation link: groups of fields whose names all begin
// with a prefix, e.g. "Lat" of the record at "UDst_" is named "UDst_Lat".
// Records nest: the destination inside "Order_" is "Order_Dest_Lat". One
// Decode/Encode pair per record serves every prefix; both stop at the first
// field that fails.

#include <cstdint>

class CBrenikCommunicationMessage;

// Reads a bool field into a bool (the library's bools are ints).
bool DecodeBool(CBrenikCommunicationMessage& source, const char* key, bool& out);

// Joins a prefix and a suffix into a field's full name, in 128 bytes (longer
// names are cut; none of the link's names come near).
class CFieldName {
 public:
  CFieldName(const char* prefix, const char* suffix);
  const char* Get() const { return name; }
  operator const char*() const { return name; }

 private:
  char name[128];
};

// A position, "Lat" and "Long", in hundred-thousandths of a degree. The
// member for "Long" is lon: long is a keyword.
struct CPositionRecord {
  int32_t lat = 0;
  int32_t lon = 0;

  bool Decode(CBrenikCommunicationMessage& source, const char* prefix);
  bool Encode(CBrenikCommunicationMessage& target, const char* prefix) const;
};

// An order, at "Order_".
struct COrderRecord {
  uint32_t id = 0;
  uint32_t sKey = 0;
  uint32_t type = 0;   // the stored order type: 1, 2 or 3
  uint32_t state = 0;  // the order's state
  uint32_t recvAt = 0;
  uint32_t lmt = 0;  // time of the last modification
  uint32_t as = 0;   // active state, one bit
  uint32_t aas = 0;  // allowed active states, bit 0 always set
  CPositionRecord dest;
  uint32_t pa = 0;  // planned arrival, 0 if none
  char num[21] = {};
  char text[501] = {};
  char tn[501] = {};  // telephone entries as one string
  char destDesc[201] = {};

  bool Decode(CBrenikCommunicationMessage& source, const char* prefix);
  bool Encode(CBrenikCommunicationMessage& target, const char* prefix) const;
};

// A text message, at "Msg_".
struct CTextMessageRecord {
  uint32_t id = 0;
  uint32_t sKey = 0;
  bool read = false;
  char text[701] = {};

  bool Decode(CBrenikCommunicationMessage& source, const char* prefix);
  bool Encode(CBrenikCommunicationMessage& target, const char* prefix) const;
};

// An entry of a status list, at "Status_".
struct CStatusRecord {
  uint32_t id = 0;
  uint32_t type = 0;  // the list: 1 order statuses, 2 general statuses
  char text[101] = {};

  bool Decode(CBrenikCommunicationMessage& source, const char* prefix);
  bool Encode(CBrenikCommunicationMessage& target, const char* prefix) const;
};

// The logbook, at "Logbook_". The four values are 0 unless valid.
struct CLogbookRecord {
  uint32_t state = 0;
  uint32_t aModes = 0;
  bool valid = false;
  uint32_t started = 0;
  uint32_t odo = 0;
  uint32_t dur = 0;
  uint32_t dist = 0;

  bool Decode(CBrenikCommunicationMessage& source, const char* prefix);
  bool Encode(CBrenikCommunicationMessage& target, const char* prefix) const;
};

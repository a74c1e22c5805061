// Encoding and decoding of frames, and the C functions that expose them.
#include "bkmp/Wire.h"

#include <cstring>
#include <limits>
#include <new>

namespace bkmp {
namespace {

static_assert(sizeof(double) == 8 && std::numeric_limits<double>::is_iec559,
              "reals travel as IEEE 754 doubles");
static_assert(sizeof(wchar_t) == 4, "wide texts are held as 32-bit characters");
static_assert(kMaxTextLength <= 0xFFFF, "text lengths travel in 16 bits");
static_assert(kMaxFields <= 0xFFFF, "the field count travels in 16 bits");
static_assert(kMaxKeyLength <= 0xFF, "key lengths travel in 8 bits");

// Bytes of the value of a field, length prefix included.
size_t ValueSize(const Field& field) {
  switch (field.type) {
    case FieldType::Int8:
    case FieldType::Uint8:
    case FieldType::Bool:
      return 1;
    case FieldType::Int16:
    case FieldType::Uint16:
      return 2;
    case FieldType::Int32:
      return 4;
    case FieldType::Long64:
    case FieldType::Real:
      return 8;
    case FieldType::Str:
      return 2 + field.text.size();
    case FieldType::UniStr:
      return 2 + 4 * field.wideText.size();
  }
  return 0;
}

void PutLittleEndian(std::vector<uint8_t>& out, uint64_t value, size_t bytes) {
  for (size_t i = 0; i < bytes; ++i) {
    out.push_back(static_cast<uint8_t>(value >> (8 * i)));
  }
}

uint64_t GetLittleEndian(const uint8_t* data, size_t bytes) {
  uint64_t value = 0;
  for (size_t i = 0; i < bytes; ++i) {
    value |= static_cast<uint64_t>(data[i]) << (8 * i);
  }
  return value;
}

void EncodeValue(const Field& field, std::vector<uint8_t>& out) {
  switch (field.type) {
    case FieldType::Real: {
      uint64_t bits = 0;
      std::memcpy(&bits, &field.real, sizeof(bits));
      PutLittleEndian(out, bits, 8);
      return;
    }
    case FieldType::Str:
      PutLittleEndian(out, field.text.size(), 2);
      out.insert(out.end(), field.text.begin(), field.text.end());
      return;
    case FieldType::UniStr:
      PutLittleEndian(out, field.wideText.size(), 2);
      for (wchar_t c : field.wideText) {
        PutLittleEndian(out, static_cast<uint32_t>(c), 4);
      }
      return;
    default:  // integers and Bool: the low bytes of the two's complement
      PutLittleEndian(out, static_cast<uint64_t>(field.integer), ValueSize(field));
      return;
  }
}

// A bounded cursor over the body of one frame.
class Reader {
 public:
  Reader(const uint8_t* data, size_t size) : data(data), left(size) {}

  bool Take(size_t bytes, const uint8_t*& at) {
    if (bytes > left) {
      return false;
    }
    at = data;
    data += bytes;
    left -= bytes;
    return true;
  }

  bool Integer(size_t bytes, uint64_t& value) {
    const uint8_t* at = nullptr;
    if (!Take(bytes, at)) {
      return false;
    }
    value = GetLittleEndian(at, bytes);
    return true;
  }

  size_t Left() const { return left; }

 private:
  const uint8_t* data;
  size_t left;
};

bool DecodeValue(Reader& reader, Field& field) {
  uint64_t value = 0;
  switch (field.type) {
    case FieldType::Int8:
      if (!reader.Integer(1, value)) return false;
      field.integer = static_cast<int8_t>(value);
      return true;
    case FieldType::Uint8:
      if (!reader.Integer(1, value)) return false;
      field.integer = static_cast<uint8_t>(value);
      return true;
    case FieldType::Int16:
      if (!reader.Integer(2, value)) return false;
      field.integer = static_cast<int16_t>(value);
      return true;
    case FieldType::Uint16:
      if (!reader.Integer(2, value)) return false;
      field.integer = static_cast<uint16_t>(value);
      return true;
    case FieldType::Int32:
      if (!reader.Integer(4, value)) return false;
      field.integer = static_cast<int32_t>(value);
      return true;
    case FieldType::Long64:
      if (!reader.Integer(8, value)) return false;
      field.integer = static_cast<int64_t>(value);
      return true;
    case FieldType::Bool:
      if (!reader.Integer(1, value) || value > 1) return false;
      field.integer = static_cast<int64_t>(value);
      return true;
    case FieldType::Real:
      if (!reader.Integer(8, value)) return false;
      std::memcpy(&field.real, &value, sizeof(field.real));
      return true;
    case FieldType::Str: {
      const uint8_t* text = nullptr;
      if (!reader.Integer(2, value) || !reader.Take(value, text) || std::memchr(text, 0, value) != nullptr) {
        return false;
      }
      field.text.assign(reinterpret_cast<const char*>(text), value);
      return true;
    }
    case FieldType::UniStr: {
      const uint8_t* text = nullptr;
      if (!reader.Integer(2, value) || !reader.Take(4 * value, text)) {
        return false;
      }
      field.wideText.resize(value);
      for (size_t i = 0; i < value; ++i) {
        const uint32_t c = static_cast<uint32_t>(GetLittleEndian(text + 4 * i, 4));
        if (!IsUnicodeScalar(c)) {
          return false;
        }
        field.wideText[i] = static_cast<wchar_t>(c);
      }
      return true;
    }
  }
  return false;  // not a type of ours
}

bool DecodeField(Reader& reader, BKMPMessageObject& message) {
  uint64_t keyLength = 0;
  const uint8_t* key = nullptr;
  uint64_t type = 0;
  if (!reader.Integer(1, keyLength) || keyLength == 0 || keyLength > kMaxKeyLength ||
      !reader.Take(keyLength, key) || std::memchr(key, 0, keyLength) != nullptr || !reader.Integer(1, type)) {
    return false;
  }
  Field field;
  field.key.assign(reinterpret_cast<const char*>(key), keyLength);
  field.type = static_cast<FieldType>(type);
  // A key twice would make the message depend on which one a reader keeps.
  if (message.Find(field.key.c_str()) != nullptr || !DecodeValue(reader, field)) {
    return false;
  }
  message.fields.push_back(std::move(field));
  return true;
}

}  // namespace

size_t FrameSize(const BKMPMessageObject& message) {
  size_t size = kHeaderSize;
  for (const Field& field : message.fields) {
    size += 1 + field.key.size() + 1 + ValueSize(field);
  }
  return size <= kMaxFrameSize ? size : 0;
}

bool EncodeFrame(const BKMPMessageObject& message, std::vector<uint8_t>& out) {
  const size_t size = FrameSize(message);
  if (size == 0) {
    return false;
  }
  out.reserve(out.size() + size);
  out.insert(out.end(), kMagic, kMagic + sizeof(kMagic));
  out.push_back(kWireVersion);
  out.push_back(0);  // flags
  PutLittleEndian(out, message.fields.size(), 2);
  PutLittleEndian(out, size - kHeaderSize, 4);
  for (const Field& field : message.fields) {
    out.push_back(static_cast<uint8_t>(field.key.size()));
    out.insert(out.end(), field.key.begin(), field.key.end());
    out.push_back(static_cast<uint8_t>(field.type));
    EncodeValue(field, out);
  }
  return true;
}

DecodeResult DecodeFrame(const uint8_t* data, size_t size, size_t& used, BKMPMessageObject& message) {
  if (size == 0) {
    return DecodeResult::Incomplete;
  }
  if (std::memcmp(data, kMagic, size < sizeof(kMagic) ? size : sizeof(kMagic)) != 0 ||
      (size > 4 && data[4] != kWireVersion) || (size > 5 && data[5] != 0) ||
      (size >= 8 && GetLittleEndian(data + 6, 2) > kMaxFields)) {
    return DecodeResult::Malformed;
  }
  if (size < kHeaderSize) {
    return DecodeResult::Incomplete;
  }
  const size_t count = GetLittleEndian(data + 6, 2);
  const size_t body = GetLittleEndian(data + 8, 4);
  if (body > kMaxBodySize) {
    return DecodeResult::Malformed;
  }
  if (size - kHeaderSize < body) {
    return DecodeResult::Incomplete;
  }
  Reader reader(data + kHeaderSize, body);
  message.fields.reserve(count);
  for (size_t i = 0; i < count; ++i) {
    if (!DecodeField(reader, message)) {
      return DecodeResult::Malformed;
    }
  }
  if (reader.Left() != 0) {
    return DecodeResult::Malformed;
  }
  used = kHeaderSize + body;
  return DecodeResult::Complete;
}

}  // namespace bkmp

extern "C" {

int BKMPMessageEncode(BKMPMessage message, unsigned char* buffer, int size, int* length) {
  if (message == nullptr || length == nullptr || size < 0) {
    return BKMP_E_INVALID;
  }
  *length = static_cast<int>(bkmp::FrameSize(*message));
  if (*length == 0 || size < *length || buffer == nullptr) {
    return BKMP_E_NOMEM;
  }
  try {
    std::vector<uint8_t> frame;
    bkmp::EncodeFrame(*message, frame);
    std::memcpy(buffer, frame.data(), frame.size());
    return BKMP_OK;
  } catch (const std::bad_alloc&) {
    return BKMP_E_NOMEM;
  }
}

int BKMPMessageDecode(const unsigned char* data, int size, int* used, BKMPMessage* message) {
  if ((data == nullptr && size != 0) || size < 0 || used == nullptr || message == nullptr) {
    return BKMP_E_INVALID;
  }
  *message = nullptr;
  BKMPMessageObject* decoded = new (std::nothrow) BKMPMessageObject();
  if (decoded == nullptr) {
    return BKMP_E_NOMEM;
  }
  int result = BKMP_E_NOMEM;
  try {
    size_t frameSize = 0;
    switch (bkmp::DecodeFrame(data, static_cast<size_t>(size), frameSize, *decoded)) {
      case bkmp::DecodeResult::Complete:
        *used = static_cast<int>(frameSize);
        *message = decoded;
        return BKMP_OK;
      case bkmp::DecodeResult::Incomplete:
        result = BKMP_E_INCOMPLETE;
        break;
      case bkmp::DecodeResult::Malformed:
        result = BKMP_E_PROTOCOL;
        break;
    }
  } catch (const std::bad_alloc&) {
  }
  delete decoded;
  return result;
}

}  // extern "C"

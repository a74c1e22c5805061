// Messages and their typed fields.
#include <cstring>
#include <new>

#include "bkmp/MessageObject.h"

using bkmp::Field;
using bkmp::FieldType;

bkmp::Field* BKMPMessageObject::Find(const char* key) {
  for (Field& field : fields) {
    if (field.key == key) {
      return &field;
    }
  }
  return nullptr;
}

int BKMPMessageObject::Put(const char* key, Field&& field) {
  if (key == nullptr || *key == '\0' || std::strlen(key) > bkmp::kMaxKeyLength) {
    return BKMP_E_INVALID;
  }
  field.key = key;
  if (Field* existing = Find(key)) {
    *existing = std::move(field);
    return BKMP_OK;
  }
  if (fields.size() >= bkmp::kMaxFields) {
    return BKMP_E_NOMEM;
  }
  fields.push_back(std::move(field));
  return BKMP_OK;
}

namespace {

int SetInteger(BKMPMessage message, const char* key, FieldType type, int64_t value) {
  if (message == nullptr) {
    return BKMP_E_INVALID;
  }
  try {
    Field field;
    field.type = type;
    field.integer = value;
    return message->Put(key, std::move(field));
  } catch (const std::bad_alloc&) {
    return BKMP_E_NOMEM;
  }
}

// Finds a field of the wanted type (accepted: any of the two given).
int Lookup(BKMPMessage message, const char* key, const void* out, FieldType type, FieldType alternative,
           const Field** found) {
  if (message == nullptr || key == nullptr || out == nullptr) {
    return BKMP_E_INVALID;
  }
  const Field* field = message->Find(key);
  if (field == nullptr) {
    return BKMP_E_NOTFOUND;
  }
  if (field->type != type && field->type != alternative) {
    return BKMP_E_TYPE;
  }
  *found = field;
  return BKMP_OK;
}

template <class T>
int GetInteger(BKMPMessage message, const char* key, T* value, FieldType type, FieldType alternative) {
  const Field* field = nullptr;
  const int result = Lookup(message, key, value, type, alternative, &field);
  if (result == BKMP_OK) {
    *value = static_cast<T>(field->integer);
  }
  return result;
}

}  // namespace

extern "C" {

int BKMPMessageCreate(BKMPMessage* message) {
  if (message == nullptr) {
    return BKMP_E_INVALID;
  }
  *message = new (std::nothrow) BKMPMessageObject();
  return *message != nullptr ? BKMP_OK : BKMP_E_NOMEM;
}

int BKMPMessageDestroy(BKMPMessage message) {
  if (message == nullptr) {
    return BKMP_E_INVALID;
  }
  delete message;
  return BKMP_OK;
}

int BKMPSetFieldInt8(BKMPMessage m, const char* key, int8_t v) {
  return SetInteger(m, key, FieldType::Int8, v);
}
int BKMPSetFieldUint8(BKMPMessage m, const char* key, uint8_t v) {
  return SetInteger(m, key, FieldType::Uint8, v);
}
int BKMPSetFieldInt16(BKMPMessage m, const char* key, int16_t v) {
  return SetInteger(m, key, FieldType::Int16, v);
}
int BKMPSetFieldUint16(BKMPMessage m, const char* key, uint16_t v) {
  return SetInteger(m, key, FieldType::Uint16, v);
}
int BKMPSetFieldInt32(BKMPMessage m, const char* key, int32_t v) {
  return SetInteger(m, key, FieldType::Int32, v);
}
int BKMPSetFieldLong64(BKMPMessage m, const char* key, int64_t v) {
  return SetInteger(m, key, FieldType::Long64, v);
}
int BKMPSetFieldBool(BKMPMessage m, const char* key, int v) {
  return SetInteger(m, key, FieldType::Bool, v != 0);
}

int BKMPSetFieldReal(BKMPMessage message, const char* key, double value) {
  if (message == nullptr) {
    return BKMP_E_INVALID;
  }
  try {
    Field field;
    field.type = FieldType::Real;
    field.real = value;
    return message->Put(key, std::move(field));
  } catch (const std::bad_alloc&) {
    return BKMP_E_NOMEM;
  }
}

int BKMPSetFieldStr(BKMPMessage message, const char* key, const char* text) {
  if (message == nullptr || text == nullptr) {
    return BKMP_E_INVALID;
  }
  const size_t length = std::strlen(text);
  if (length > bkmp::kMaxTextLength) {
    return BKMP_E_NOMEM;
  }
  try {
    Field field;
    field.type = FieldType::Str;
    field.text.assign(text, length);
    return message->Put(key, std::move(field));
  } catch (const std::bad_alloc&) {
    return BKMP_E_NOMEM;
  }
}

int BKMPSetFieldUniStr(BKMPMessage message, const char* key, const wchar_t* text) {
  if (message == nullptr || text == nullptr) {
    return BKMP_E_INVALID;
  }
  const size_t length = std::wcslen(text);
  if (length > bkmp::kMaxTextLength) {
    return BKMP_E_NOMEM;
  }
  for (size_t i = 0; i < length; ++i) {
    if (!bkmp::IsUnicodeScalar(static_cast<uint32_t>(text[i]))) {
      return BKMP_E_INVALID;
    }
  }
  try {
    Field field;
    field.type = FieldType::UniStr;
    field.wideText.assign(text, length);
    return message->Put(key, std::move(field));
  } catch (const std::bad_alloc&) {
    return BKMP_E_NOMEM;
  }
}

int BKMPGetFieldInt8(BKMPMessage m, const char* key, int8_t* v) {
  return GetInteger(m, key, v, FieldType::Int8, FieldType::Int8);
}
int BKMPGetFieldUint8(BKMPMessage m, const char* key, uint8_t* v) {
  return GetInteger(m, key, v, FieldType::Uint8, FieldType::Uint8);
}
int BKMPGetFieldInt16(BKMPMessage m, const char* key, int16_t* v) {
  return GetInteger(m, key, v, FieldType::Int16, FieldType::Int16);
}
int BKMPGetFieldUint16(BKMPMessage m, const char* key, uint16_t* v) {
  return GetInteger(m, key, v, FieldType::Uint16, FieldType::Uint16);
}
int BKMPGetFieldInt32(BKMPMessage m, const char* key, int32_t* v) {
  return GetInteger(m, key, v, FieldType::Int32, FieldType::Int32);
}
// The library has no unsigned 32-bit type of its own: the bits of an Int32 field.
int BKMPGetFieldUint32(BKMPMessage m, const char* key, uint32_t* v) {
  return GetInteger(m, key, v, FieldType::Int32, FieldType::Int32);
}
int BKMPGetFieldLong64(BKMPMessage m, const char* key, int64_t* v) {
  return GetInteger(m, key, v, FieldType::Long64, FieldType::Long64);
}
int BKMPGetFieldBool(BKMPMessage m, const char* key, int* v) {
  return GetInteger(m, key, v, FieldType::Bool, FieldType::Bool);
}

int BKMPGetFieldReal(BKMPMessage message, const char* key, double* value) {
  const Field* field = nullptr;
  const int result = Lookup(message, key, value, FieldType::Real, FieldType::Real, &field);
  if (result == BKMP_OK) {
    *value = field->real;
  }
  return result;
}

int BKMPGetFieldStr(BKMPMessage message, const char* key, char* buffer, int size) {
  if (size < 1) {
    return BKMP_E_INVALID;
  }
  const Field* field = nullptr;
  const int result = Lookup(message, key, buffer, FieldType::Str, FieldType::Str, &field);
  if (result == BKMP_OK) {
    const size_t count = field->text.size() < static_cast<size_t>(size - 1) ? field->text.size() : size - 1;
    std::memcpy(buffer, field->text.data(), count);
    buffer[count] = '\0';
  }
  return result;
}

int BKMPGetFieldUniStr(BKMPMessage message, const char* key, wchar_t* buffer, int size) {
  if (size < 1) {
    return BKMP_E_INVALID;
  }
  const Field* field = nullptr;
  const int result = Lookup(message, key, buffer, FieldType::UniStr, FieldType::UniStr, &field);
  if (result == BKMP_OK) {
    const size_t count =
        field->wideText.size() < static_cast<size_t>(size - 1) ? field->wideText.size() : size - 1;
    std::wmemcpy(buffer, field->wideText.data(), count);
    buffer[count] = L'\0';
  }
  return result;
}

}  // extern "C"

#pragma once

#include <cstdint>
#include <cwchar>

#include "bkmp/bkmp.h"

class CBrenikCommunicationClient;

// One library message: a set of named, typed fields. Every field operation is
// true when the library's code is 0; after a failed Create every one fails.
class CBrenikCommunicationMessage {
 public:
  CBrenikCommunicationMessage() = default;
  virtual ~CBrenikCommunicationMessage();
  CBrenikCommunicationMessage(const CBrenikCommunicationMessage&) = delete;
  CBrenikCommunicationMessage& operator=(const CBrenikCommunicationMessage&) = delete;

  // Takes over a handle that a receive delivered (a handle held before is
  // destroyed first, so that nothing leaks). Returns 1.
  int Attach(BKMPMessage handle);
  bool Create();
  // True without a handle.
  bool Destroy();
  BKMPMessage GetHandle() const { return message; }

  // Sends over client's connection; the code goes to the client's lastError
  // and the message stays with the caller.
  bool Send(CBrenikCommunicationClient& client);

  bool SetInt8(const char* key, int8_t value);
  bool SetUint8(const char* key, uint8_t value);
  bool SetInt16(const char* key, int16_t value);
  bool SetUint16(const char* key, uint16_t value);
  bool SetInt32(const char* key, int32_t value);
  // Stored with the library's signed 32-bit setter: it has no unsigned one of
  // this width, and its unsigned getter reads the value back unchanged.
  bool SetUint32(const char* key, uint32_t value);
  bool SetLong64(const char* key, int64_t value);
  bool SetBool(const char* key, int value);
  bool SetReal(const char* key, double value);
  bool SetStr(const char* key, const char* text);
  bool SetUniStr(const char* key, const wchar_t* text);

  bool GetInt8(const char* key, int8_t* out);
  bool GetUint8(const char* key, uint8_t* out);
  bool GetInt16(const char* key, int16_t* out);
  bool GetUint16(const char* key, uint16_t* out);
  bool GetInt32(const char* key, int32_t* out);
  bool GetUint32(const char* key, uint32_t* out);
  bool GetLong64(const char* key, int64_t* out);
  bool GetBool(const char* key, int* out);
  bool GetReal(const char* key, double* out);
  // size is that of the caller's buffer, terminator included.
  bool GetStr(const char* key, char* buffer, int size);
  bool GetUniStr(const char* key, wchar_t* buffer, int size);

 private:
  BKMPMessage message = nullptr;
};

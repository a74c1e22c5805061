#include "bkcom/BrenikCommunicationMessage.h"

#include "bkcom/BrenikCommunication.h"

CBrenikCommunicationMessage::~CBrenikCommunicationMessage() { Destroy(); }

int CBrenikCommunicationMessage::Attach(BKMPMessage handle) {
  if (handle != message) {
    Destroy();
  }
  message = handle;
  return 1;
}

bool CBrenikCommunicationMessage::Create() {
  Destroy();
  if (BKMPMessageCreate(&message) != BKMP_OK) {
    message = nullptr;
    return false;
  }
  return true;
}

bool CBrenikCommunicationMessage::Destroy() {
  if (message == nullptr) {
    return true;
  }
  const int code = BKMPMessageDestroy(message);
  message = nullptr;
  return code == BKMP_OK;
}

bool CBrenikCommunicationMessage::Send(CBrenikCommunicationClient& client) {
  const int code = BKMPConnectionSend(client.GetConnection(), message);
  client.lastError = code;
  return code == BKMP_OK;
}

bool CBrenikCommunicationMessage::SetInt8(const char* key, int8_t value) {
  return BKMPSetFieldInt8(message, key, value) == BKMP_OK;
}
bool CBrenikCommunicationMessage::SetUint8(const char* key, uint8_t value) {
  return BKMPSetFieldUint8(message, key, value) == BKMP_OK;
}
bool CBrenikCommunicationMessage::SetInt16(const char* key, int16_t value) {
  return BKMPSetFieldInt16(message, key, value) == BKMP_OK;
}
bool CBrenikCommunicationMessage::SetUint16(const char* key, uint16_t value) {
  return BKMPSetFieldUint16(message, key, value) == BKMP_OK;
}
bool CBrenikCommunicationMessage::SetInt32(const char* key, int32_t value) {
  return BKMPSetFieldInt32(message, key, value) == BKMP_OK;
}
bool CBrenikCommunicationMessage::SetUint32(const char* key, uint32_t value) {
  return BKMPSetFieldInt32(message, key, static_cast<int32_t>(value)) == BKMP_OK;
}
bool CBrenikCommunicationMessage::SetLong64(const char* key, int64_t value) {
  return BKMPSetFieldLong64(message, key, value) == BKMP_OK;
}
bool CBrenikCommunicationMessage::SetBool(const char* key, int value) {
  return BKMPSetFieldBool(message, key, value) == BKMP_OK;
}
bool CBrenikCommunicationMessage::SetReal(const char* key, double value) {
  return BKMPSetFieldReal(message, key, value) == BKMP_OK;
}
bool CBrenikCommunicationMessage::SetStr(const char* key, const char* text) {
  return BKMPSetFieldStr(message, key, text) == BKMP_OK;
}
bool CBrenikCommunicationMessage::SetUniStr(const char* key, const wchar_t* text) {
  return BKMPSetFieldUniStr(message, key, text) == BKMP_OK;
}

bool CBrenikCommunicationMessage::GetInt8(const char* key, int8_t* out) {
  return BKMPGetFieldInt8(message, key, out) == BKMP_OK;
}
bool CBrenikCommunicationMessage::GetUint8(const char* key, uint8_t* out) {
  return BKMPGetFieldUint8(message, key, out) == BKMP_OK;
}
bool CBrenikCommunicationMessage::GetInt16(const char* key, int16_t* out) {
  return BKMPGetFieldInt16(message, key, out) == BKMP_OK;
}
bool CBrenikCommunicationMessage::GetUint16(const char* key, uint16_t* out) {
  return BKMPGetFieldUint16(message, key, out) == BKMP_OK;
}
bool CBrenikCommunicationMessage::GetInt32(const char* key, int32_t* out) {
  return BKMPGetFieldInt32(message, key, out) == BKMP_OK;
}
bool CBrenikCommunicationMessage::GetUint32(const char* key, uint32_t* out) {
  return BKMPGetFieldUint32(message, key, out) == BKMP_OK;
}
bool CBrenikCommunicationMessage::GetLong64(const char* key, int64_t* out) {
  return BKMPGetFieldLong64(message, key, out) == BKMP_OK;
}
bool CBrenikCommunicationMessage::GetBool(const char* key, int* out) {
  return BKMPGetFieldBool(message, key, out) == BKMP_OK;
}
bool CBrenikCommunicationMessage::GetReal(const char* key, double* out) {
  return BKMPGetFieldReal(message, key, out) == BKMP_OK;
}
bool CBrenikCommunicationMessage::GetStr(const char* key, char* buffer, int size) {
  return BKMPGetFieldStr(message, key, buffer, size) == BKMP_OK;
}
bool CBrenikCommunicationMessage::GetUniStr(const char* key, wchar_t* buffer, int size) {
  return BKMPGetFieldUniStr(message, key, buffer, size) == BKMP_OK;
}

#include "bkcom/Records.h"

#include <cstdio>

#include "bkcom/BrenikCommunicationMessage.h"

CFieldName::CFieldName(const char* prefix, const char* suffix) {
  std::snprintf(name, sizeof(name), "%s%s", prefix, suffix);
}

bool DecodeBool(CBrenikCommunicationMessage& source, const char* key, bool& out) {
  int value = 0;
  if (!source.GetBool(key, &value)) {
    return false;
  }
  out = value != 0;
  return true;
}

bool CPositionRecord::Decode(CBrenikCommunicationMessage& source, const char* prefix) {
  return source.GetInt32(CFieldName(prefix, "Lat"), &lat) &&
         source.GetInt32(CFieldName(prefix, "Long"), &lon);
}

bool CPositionRecord::Encode(CBrenikCommunicationMessage& target, const char* prefix) const {
  return target.SetInt32(CFieldName(prefix, "Lat"), lat) && target.SetInt32(CFieldName(prefix, "Long"), lon);
}

bool COrderRecord::Decode(CBrenikCommunicationMessage& source, const char* prefix) {
  return source.GetUint32(CFieldName(prefix, "Id"), &id) &&
         source.GetUint32(CFieldName(prefix, "SKey"), &sKey) &&
         source.GetUint32(CFieldName(prefix, "Type"), &type) &&
         source.GetUint32(CFieldName(prefix, "State"), &state) &&
         source.GetUint32(CFieldName(prefix, "RecvAt"), &recvAt) &&
         source.GetUint32(CFieldName(prefix, "LMT"), &lmt) &&
         source.GetUint32(CFieldName(prefix, "AS"), &as) &&
         source.GetUint32(CFieldName(prefix, "AAS"), &aas) &&
         dest.Decode(source, CFieldName(prefix, "Dest_")) &&
         source.GetUint32(CFieldName(prefix, "PA"), &pa) &&
         source.GetStr(CFieldName(prefix, "Num"), num, sizeof(num)) &&
         source.GetStr(CFieldName(prefix, "Text"), text, sizeof(text)) &&
         source.GetStr(CFieldName(prefix, "TN"), tn, sizeof(tn)) &&
         source.GetStr(CFieldName(prefix, "DestDesc"), destDesc, sizeof(destDesc));
}

bool COrderRecord::Encode(CBrenikCommunicationMessage& target, const char* prefix) const {
  return target.SetUint32(CFieldName(prefix, "Id"), id) &&
         target.SetUint32(CFieldName(prefix, "SKey"), sKey) &&
         target.SetUint32(CFieldName(prefix, "Type"), type) &&
         target.SetUint32(CFieldName(prefix, "State"), state) &&
         target.SetUint32(CFieldName(prefix, "RecvAt"), recvAt) &&
         target.SetUint32(CFieldName(prefix, "LMT"), lmt) && target.SetUint32(CFieldName(prefix, "AS"), as) &&
         target.SetUint32(CFieldName(prefix, "AAS"), aas) &&
         dest.Encode(target, CFieldName(prefix, "Dest_")) && target.SetUint32(CFieldName(prefix, "PA"), pa) &&
         target.SetStr(CFieldName(prefix, "Num"), num) && target.SetStr(CFieldName(prefix, "Text"), text) &&
         target.SetStr(CFieldName(prefix, "TN"), tn) &&
         target.SetStr(CFieldName(prefix, "DestDesc"), destDesc);
}

bool CTextMessageRecord::Decode(CBrenikCommunicationMessage& source, const char* prefix) {
  return source.GetUint32(CFieldName(prefix, "Id"), &id) &&
         source.GetUint32(CFieldName(prefix, "SKey"), &sKey) &&
         DecodeBool(source, CFieldName(prefix, "Read"), read) &&
         source.GetStr(CFieldName(prefix, "Text"), text, sizeof(text));
}

bool CTextMessageRecord::Encode(CBrenikCommunicationMessage& target, const char* prefix) const {
  return target.SetUint32(CFieldName(prefix, "Id"), id) &&
         target.SetUint32(CFieldName(prefix, "SKey"), sKey) &&
         target.SetBool(CFieldName(prefix, "Read"), read) && target.SetStr(CFieldName(prefix, "Text"), text);
}

bool CStatusRecord::Decode(CBrenikCommunicationMessage& source, const char* prefix) {
  return source.GetUint32(CFieldName(prefix, "Id"), &id) &&
         source.GetUint32(CFieldName(prefix, "Type"), &type) &&
         source.GetStr(CFieldName(prefix, "Text"), text, sizeof(text));
}

bool CStatusRecord::Encode(CBrenikCommunicationMessage& target, const char* prefix) const {
  return target.SetUint32(CFieldName(prefix, "Id"), id) &&
         target.SetUint32(CFieldName(prefix, "Type"), type) &&
         target.SetStr(CFieldName(prefix, "Text"), text);
}

bool CLogbookRecord::Decode(CBrenikCommunicationMessage& source, const char* prefix) {
  return source.GetUint32(CFieldName(prefix, "State"), &state) &&
         source.GetUint32(CFieldName(prefix, "AModes"), &aModes) &&
         DecodeBool(source, CFieldName(prefix, "Valid"), valid) &&
         source.GetUint32(CFieldName(prefix, "Started"), &started) &&
         source.GetUint32(CFieldName(prefix, "Odo"), &odo) &&
         source.GetUint32(CFieldName(prefix, "Dur"), &dur) &&
         source.GetUint32(CFieldName(prefix, "Dist"), &dist);
}

bool CLogbookRecord::Encode(CBrenikCommunicationMessage& target, const char* prefix) const {
  return target.SetUint32(CFieldName(prefix, "State"), state) &&
         target.SetUint32(CFieldName(prefix, "AModes"), aModes) &&
         target.SetBool(CFieldName(prefix, "Valid"), valid) &&
         target.SetUint32(CFieldName(prefix, "Started"), started) &&
         target.SetUint32(CFieldName(prefix, "Odo"), odo) &&
         target.SetUint32(CFieldName(prefix, "Dur"), dur) &&
         target.SetUint32(CFieldName(prefix, "Dist"), dist);
}

#include "bkcom/Actions.h"

bool CAcknowledge::Decode(CBrenikCommunicationMessage& source) {
  return CVelarnMessage::Decode(source) && source.GetUint32("ActionId", &actionId) &&
         source.GetUint32("Error", &error);
}

bool CAcknowledge::Encode() {
  return CVelarnMessage::Encode() && message.SetUint32("ActionId", actionId) &&
         message.SetUint32("Error", error);
}

bool CVelarnInitBrenikAction::Decode(CBrenikCommunicationMessage& source) {
  return CAbstractAction::Decode(source) && source.GetStr("Version", version, sizeof(version)) &&
         source.GetUint32("NavStateUpdate", &navStateUpdate);
}

bool CVelarnInitBrenikAction::Encode() {
  return CAbstractAction::Encode() && message.SetStr("Version", version) &&
         message.SetUint32("NavStateUpdate", navStateUpdate);
}

bool CChangeWorkingTimeStateAction::Decode(CBrenikCommunicationMessage& source) {
  return CAbstractAction::Decode(source) && source.GetUint32("Action", &action);
}

bool CChangeWorkingTimeStateAction::Encode() {
  return CAbstractAction::Encode() && message.SetUint32("Action", action);
}

bool CBrenikInitVelarnAction::Decode(CBrenikCommunicationMessage& source) {
  return CAbstractAction::Decode(source) && source.GetUint32("KAInterval", &kaInterval) &&
         source.GetStr("Version", version, sizeof(version)) &&
         source.GetStr("NCVersion", ncVersion, sizeof(ncVersion)) &&
         source.GetStr("NCBuild", ncBuild, sizeof(ncBuild)) && source.GetStr("SNR", snr, sizeof(snr));
}

bool CBrenikInitVelarnAction::Encode() {
  return CAbstractAction::Encode() && message.SetUint32("KAInterval", kaInterval) &&
         message.SetStr("Version", version) && message.SetStr("NCVersion", ncVersion) &&
         message.SetStr("NCBuild", ncBuild) && message.SetStr("SNR", snr);
}

bool CGetStatusListAction::Decode(CBrenikCommunicationMessage& source) {
  return CAbstractAction::Decode(source) && source.GetUint32("Type", &type);
}

bool CGetStatusListAction::Encode() { return CAbstractAction::Encode() && message.SetUint32("Type", type); }

bool CRejectOrderAction::Decode(CBrenikCommunicationMessage& source) {
  return CAbstractOrderAction::Decode(source) && source.GetStr("Reason", reason, sizeof(reason));
}

bool CRejectOrderAction::Encode() {
  return CAbstractOrderAction::Encode() && message.SetStr("Reason", reason);
}

bool CCancelOrderAction::Decode(CBrenikCommunicationMessage& source) {
  return CAbstractOrderAction::Decode(source) && source.GetStr("Reason", reason, sizeof(reason));
}

bool CCancelOrderAction::Encode() {
  return CAbstractOrderAction::Encode() && message.SetStr("Reason", reason);
}

bool CSendStatusOrderAction::Decode(CBrenikCommunicationMessage& source) {
  return CAbstractOrderAction::Decode(source) && source.GetUint32("StatusId", &statusId) &&
         source.GetStr("Text", text, sizeof(text));
}

bool CSendStatusOrderAction::Encode() {
  return CAbstractOrderAction::Encode() && message.SetUint32("StatusId", statusId) &&
         message.SetStr("Text", text);
}

bool CChangeActiveStateAction::Decode(CBrenikCommunicationMessage& source) {
  return CAbstractOrderAction::Decode(source) && source.GetUint32("NewActiveState", &newActiveState);
}

bool CChangeActiveStateAction::Encode() {
  return CAbstractOrderAction::Encode() && message.SetUint32("NewActiveState", newActiveState);
}

bool CSendStatusAction::Decode(CBrenikCommunicationMessage& source) {
  return CAbstractAction::Decode(source) && source.GetUint32("StatusId", &statusId) &&
         source.GetStr("Text", text, sizeof(text));
}

bool CSendStatusAction::Encode() {
  return CAbstractAction::Encode() && message.SetUint32("StatusId", statusId) && message.SetStr("Text", text);
}

bool CSendTextMessageAction::Decode(CBrenikCommunicationMessage& source) {
  return CAbstractAction::Decode(source) && source.GetStr("Text", text, sizeof(text));
}

bool CSendTextMessageAction::Encode() { return CAbstractAction::Encode() && message.SetStr("Text", text); }

bool CChangeLogbookModeAction::Decode(CBrenikCommunicationMessage& source) {
  return CAbstractAction::Decode(source) && source.GetUint32("NewMode", &newMode);
}

bool CChangeLogbookModeAction::Encode() {
  return CAbstractAction::Encode() && message.SetUint32("NewMode", newMode);
}

bool CSetDriverIdAction::Decode(CBrenikCommunicationMessage& source) {
  return CAbstractAction::Decode(source) && source.GetUint32("DriverId", &driverId);
}

bool CSetDriverIdAction::Encode() {
  return CAbstractAction::Encode() && message.SetUint32("DriverId", driverId);
}

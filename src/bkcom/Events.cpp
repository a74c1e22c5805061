#include "bkcom/Events.h"

bool CConnectionStateEvent::Decode(CBrenikCommunicationMessage& source) {
  return CVelarnMessage::Decode(source) && DecodeBool(source, "Connected", connected);
}

bool CConnectionStateEvent::Encode() {
  return CVelarnMessage::Encode() && message.SetBool("Connected", connected);
}

bool COrderModifiedEvent::Decode(CBrenikCommunicationMessage& source) {
  return CAbstractOrderEvent::Decode(source) && DecodeBool(source, "Remote", remote);
}

bool COrderModifiedEvent::Encode() {
  return CAbstractOrderEvent::Encode() && message.SetBool("Remote", remote);
}

bool COrderDeletedEvent::Decode(CBrenikCommunicationMessage& source) {
  return CVelarnMessage::Decode(source) && source.GetUint32("OrderId", &orderId) &&
         DecodeBool(source, "Remote", remote);
}

bool COrderDeletedEvent::Encode() {
  return CVelarnMessage::Encode() && message.SetUint32("OrderId", orderId) &&
         message.SetBool("Remote", remote);
}

bool CTextMessageModifiedEvent::Decode(CBrenikCommunicationMessage& source) {
  return CAbstractTextMessageEvent::Decode(source) && DecodeBool(source, "Remote", remote);
}

bool CTextMessageModifiedEvent::Encode() {
  return CAbstractTextMessageEvent::Encode() && message.SetBool("Remote", remote);
}

bool CTextMessageDeletedEvent::Decode(CBrenikCommunicationMessage& source) {
  return CVelarnMessage::Decode(source) && source.GetUint32("MsgId", &msgId) &&
         DecodeBool(source, "Remote", remote);
}

bool CTextMessageDeletedEvent::Encode() {
  return CVelarnMessage::Encode() && message.SetUint32("MsgId", msgId) && message.SetBool("Remote", remote);
}

bool CStatusInfoEvent::Decode(CBrenikCommunicationMessage& source) {
  return CVelarnMessage::Decode(source) && status.Decode(source, "Status_");
}

bool CStatusInfoEvent::Encode() { return CVelarnMessage::Encode() && status.Encode(message, "Status_"); }

bool CStatusListUpdatedEvent::Decode(CBrenikCommunicationMessage& source) {
  return CVelarnMessage::Decode(source) && source.GetUint32("Type", &type);
}

bool CStatusListUpdatedEvent::Encode() { return CVelarnMessage::Encode() && message.SetUint32("Type", type); }

bool CFeaturesInfoEvent::Decode(CBrenikCommunicationMessage& source) {
  return CVelarnMessage::Decode(source) && DecodeBool(source, "WTR", wtr) &&
         DecodeBool(source, "Logbook", logbook) && DecodeBool(source, "AskDriverId", askDriverId) &&
         DecodeBool(source, "GpsFeed", gpsFeed);
}

bool CFeaturesInfoEvent::Encode() {
  return CVelarnMessage::Encode() && message.SetBool("WTR", wtr) && message.SetBool("Logbook", logbook) &&
         message.SetBool("AskDriverId", askDriverId) && message.SetBool("GpsFeed", gpsFeed);
}

bool CLogbookStateEvent::Decode(CBrenikCommunicationMessage& source) {
  return CVelarnMessage::Decode(source) && logbook.Decode(source, "Logbook_");
}

bool CLogbookStateEvent::Encode() { return CVelarnMessage::Encode() && logbook.Encode(message, "Logbook_"); }

bool CNavigationStateEvent::Decode(CBrenikCommunicationMessage& source) {
  return CVelarnMessage::Decode(source) && source.GetUint32("NavType", &navType) &&
         uDst.Decode(source, "UDst_") && rDst.Decode(source, "RDst_") && source.GetUint32("ETA", &eta) &&
         source.GetUint32("Dist", &dist);
}

bool CNavigationStateEvent::Encode() {
  return CVelarnMessage::Encode() && message.SetUint32("NavType", navType) && uDst.Encode(message, "UDst_") &&
         rDst.Encode(message, "RDst_") && message.SetUint32("ETA", eta) && message.SetUint32("Dist", dist);
}

bool CCurrentWorkingTimeStateEvent::Decode(CBrenikCommunicationMessage& source) {
  return CVelarnMessage::Decode(source) && source.GetUint32("CurrentState", &currentState) &&
         source.GetUint32("AllowedActions", &allowedActions) && source.GetUint32("LastAction", &lastAction) &&
         source.GetUint32("StartOfWork", &startOfWork) && source.GetUint32("EndOfWork", &endOfWork) &&
         source.GetUint32("StartOfLastPause", &startOfLastPause) &&
         source.GetUint32("EndOfLastPause", &endOfLastPause);
}

bool CCurrentWorkingTimeStateEvent::Encode() {
  return CVelarnMessage::Encode() && message.SetUint32("CurrentState", currentState) &&
         message.SetUint32("AllowedActions", allowedActions) && message.SetUint32("LastAction", lastAction) &&
         message.SetUint32("StartOfWork", startOfWork) && message.SetUint32("EndOfWork", endOfWork) &&
         message.SetUint32("StartOfLastPause", startOfLastPause) &&
         message.SetUint32("EndOfLastPause", endOfLastPause);
}

bool CInboxInfoEvent::Decode(CBrenikCommunicationMessage& source) {
  return CVelarnMessage::Decode(source) && source.GetUint32("Orders", &orders) &&
         source.GetUint32("TextMessages", &textMessages);
}

bool CInboxInfoEvent::Encode() {
  return CVelarnMessage::Encode() && message.SetUint32("Orders", orders) &&
         message.SetUint32("TextMessages", textMessages);
}

bool CStatusListInfoEvent::Decode(CBrenikCommunicationMessage& source) {
  return CVelarnMessage::Decode(source) && source.GetUint32("Type", &type) &&
         source.GetUint32("Count", &count);
}

bool CStatusListInfoEvent::Encode() {
  return CVelarnMessage::Encode() && message.SetUint32("Type", type) && message.SetUint32("Count", count);
}

bool CGPSEvent::Decode(CBrenikCommunicationMessage& source) {
  return CVelarnMessage::Decode(source) && DecodeBool(source, "Val", val) && source.GetInt32("Lat", &lat) &&
         source.GetInt32("Long", &lon) && source.GetUint32("TS", &ts) && source.GetUint16("Speed", &speed) &&
         source.GetUint16("Course", &course) && source.GetUint8("Sat", &sat);
}

bool CGPSEvent::Encode() {
  return CVelarnMessage::Encode() && message.SetBool("Val", val) && message.SetInt32("Lat", lat) &&
         message.SetInt32("Long", lon) && message.SetUint32("TS", ts) && message.SetUint16("Speed", speed) &&
         message.SetUint16("Course", course) && message.SetUint8("Sat", sat);
}

bool CPrivacyStateEvent::Decode(CBrenikCommunicationMessage& source) {
  return CVelarnMessage::Decode(source) && DecodeBool(source, "PM", pm);
}

bool CPrivacyStateEvent::Encode() { return CVelarnMessage::Encode() && message.SetBool("PM", pm); }

bool CGPSFeedEvent::Decode(CBrenikCommunicationMessage& source) {
  return CVelarnMessage::Decode(source) && DecodeBool(source, "Enabled", enabled);
}

bool CGPSFeedEvent::Encode() { return CVelarnMessage::Encode() && message.SetBool("Enabled", enabled); }

#include "bkcom/MessageCatalogue.h"

#include <vector>

#include "bkcom/Actions.h"
#include "bkcom/BrenikCommunicationMessage.h"
#include "bkcom/Events.h"

namespace bkcom {

namespace {

using Fields = std::vector<FieldInfo>;

template <class T>
CVelarnMessage* Make() {
  return new T();
}

FieldInfo U32(const std::string& name) { return {name, FieldKind::Uint32, 0}; }
FieldInfo Flag(const std::string& name) { return {name, FieldKind::Bool, 0}; }
FieldInfo Text(const std::string& name, int size) { return {name, FieldKind::Text, size}; }

Fields Join(std::initializer_list<Fields> parts) {
  Fields all;
  for (const Fields& part : parts) {
    all.insert(all.end(), part.begin(), part.end());
  }
  return all;
}

Fields Position(const std::string& prefix) {
  return {{prefix + "Lat", FieldKind::Int32, 0}, {prefix + "Long", FieldKind::Int32, 0}};
}

Fields Order() {
  const std::string p = "Order_";
  return Join({{U32(p + "Id"), U32(p + "SKey"), U32(p + "Type"), U32(p + "State"), U32(p + "RecvAt"),
                U32(p + "LMT"), U32(p + "AS"), U32(p + "AAS")},
               Position(p + "Dest_"),
               {U32(p + "PA"), Text(p + "Num", 21), Text(p + "Text", 501), Text(p + "TN", 501),
                Text(p + "DestDesc", 201)}});
}

Fields TextMessage() { return {U32("Msg_Id"), U32("Msg_SKey"), Flag("Msg_Read"), Text("Msg_Text", 701)}; }

const Fields kAction = {U32("ActionId")};
const Fields kOrderAction = {U32("ActionId"), U32("OrderId")};
const Fields kTextMessageAction = {U32("ActionId"), U32("MsgId")};

std::vector<MessageInfo> Build() {
  const Direction in = Direction::In;
  const Direction out = Direction::Out;
  return {
      {1, "CAcknowledge", Direction::Both, {U32("ActionId"), U32("Error")}, &Make<CAcknowledge>},
      {2, "CConnectionStateEvent", out, {Flag("Connected")}, &Make<CConnectionStateEvent>},
      {3, "COrderInfoEvent", out, Order(), &Make<COrderInfoEvent>},
      {4, "COrderReceivedEvent", out, Order(), &Make<COrderReceivedEvent>},
      {5, "COrderModifiedEvent", out, Join({Order(), {Flag("Remote")}}), &Make<COrderModifiedEvent>},
      {6, "COrderDeletedEvent", out, {U32("OrderId"), Flag("Remote")}, &Make<COrderDeletedEvent>},
      {7, "CTextMessageInfoEvent", out, TextMessage(), &Make<CTextMessageInfoEvent>},
      {8, "CTextMessageReceivedEvent", out, TextMessage(), &Make<CTextMessageReceivedEvent>},
      {9, "CTextMessageModifiedEvent", out, Join({TextMessage(), {Flag("Remote")}}),
       &Make<CTextMessageModifiedEvent>},
      {10, "CTextMessageDeletedEvent", out, {U32("MsgId"), Flag("Remote")}, &Make<CTextMessageDeletedEvent>},
      {11,
       "CStatusInfoEvent",
       out,
       {U32("Status_Id"), U32("Status_Type"), Text("Status_Text", 101)},
       &Make<CStatusInfoEvent>},
      {12, "CStatusListUpdatedEvent", out, {U32("Type")}, &Make<CStatusListUpdatedEvent>},
      {13,
       "CFeaturesInfoEvent",
       out,
       {Flag("WTR"), Flag("Logbook"), Flag("AskDriverId"), Flag("GpsFeed")},
       &Make<CFeaturesInfoEvent>},
      {15, "CKeepAliveEvent", out, {}, &Make<CKeepAliveEvent>},
      {16,
       "CLogbookStateEvent",
       out,
       {U32("Logbook_State"), U32("Logbook_AModes"), Flag("Logbook_Valid"), U32("Logbook_Started"),
        U32("Logbook_Odo"), U32("Logbook_Dur"), U32("Logbook_Dist")},
       &Make<CLogbookStateEvent>},
      {18, "CVelarnInitBrenikAction", out, Join({kAction, {Text("Version", 33), U32("NavStateUpdate")}}),
       &Make<CVelarnInitBrenikAction>},
      {19, "CRequestWorkingTimeStateAction", in, kAction, &Make<CRequestWorkingTimeStateAction>},
      {20, "CChangeWorkingTimeStateAction", in, Join({kAction, {U32("Action")}}),
       &Make<CChangeWorkingTimeStateAction>},
      {21, "CBrenikInitVelarnAction", in,
       Join({kAction,
             {U32("KAInterval"), Text("Version", 33), Text("NCVersion", 17), Text("NCBuild", 17),
              Text("SNR", 17)}}),
       &Make<CBrenikInitVelarnAction>},
      {22, "CGetConnectionStateAction", in, kAction, &Make<CGetConnectionStateAction>},
      {23, "CGetAllItemsAction", in, kAction, &Make<CGetAllItemsAction>},
      {24, "CGetStatusListAction", in, Join({kAction, {U32("Type")}}), &Make<CGetStatusListAction>},
      {26, "CMarkReadOrderAction", in, kOrderAction, &Make<CMarkReadOrderAction>},
      {27, "CAcceptOrderAction", in, kOrderAction, &Make<CAcceptOrderAction>},
      {28, "CRejectOrderAction", in, Join({kOrderAction, {Text("Reason", 201)}}), &Make<CRejectOrderAction>},
      {29, "CCancelOrderAction", in, Join({kOrderAction, {Text("Reason", 201)}}), &Make<CCancelOrderAction>},
      {30, "CStartOrderAction", in, kOrderAction, &Make<CStartOrderAction>},
      {31, "CSuspendOrderAction", in, kOrderAction, &Make<CSuspendOrderAction>},
      {32, "CResumeOrderAction", in, kOrderAction, &Make<CResumeOrderAction>},
      {33, "CCompleteOrderAction", in, kOrderAction, &Make<CCompleteOrderAction>},
      {34, "CSendStatusOrderAction", in, Join({kOrderAction, {U32("StatusId"), Text("Text", 201)}}),
       &Make<CSendStatusOrderAction>},
      {35, "CChangeActiveStateAction", in, Join({kOrderAction, {U32("NewActiveState")}}),
       &Make<CChangeActiveStateAction>},
      {36, "CDeleteOrderAction", in, kOrderAction, &Make<CDeleteOrderAction>},
      {37, "CMarkReadTextMessageAction", in, kTextMessageAction, &Make<CMarkReadTextMessageAction>},
      {38, "CGetFeaturesInfoAction", in, kAction, &Make<CGetFeaturesInfoAction>},
      {39, "CDeleteTextMessageAction", in, kTextMessageAction, &Make<CDeleteTextMessageAction>},
      {40, "CSendStatusAction", in, Join({kAction, {U32("StatusId"), Text("Text", 201)}}),
       &Make<CSendStatusAction>},
      {41, "CSendTextMessageAction", in, Join({kAction, {Text("Text", 201)}}), &Make<CSendTextMessageAction>},
      {42, "CChangeLogbookModeAction", in, Join({kAction, {U32("NewMode")}}),
       &Make<CChangeLogbookModeAction>},
      {43, "CNavigationStateEvent", in,
       Join({{U32("NavType")}, Position("UDst_"), Position("RDst_"), {U32("ETA"), U32("Dist")}}),
       &Make<CNavigationStateEvent>},
      {44,
       "CCurrentWorkingTimeStateEvent",
       out,
       {U32("CurrentState"), U32("AllowedActions"), U32("LastAction"), U32("StartOfWork"), U32("EndOfWork"),
        U32("StartOfLastPause"), U32("EndOfLastPause")},
       &Make<CCurrentWorkingTimeStateEvent>},
      {45, "CInboxInfoEvent", out, {U32("Orders"), U32("TextMessages")}, &Make<CInboxInfoEvent>},
      {46, "CStatusListInfoEvent", out, {U32("Type"), U32("Count")}, &Make<CStatusListInfoEvent>},
      {47, "CSetDriverIdAction", in, Join({kAction, {U32("DriverId")}}), &Make<CSetDriverIdAction>},
      {48, "CSuspendAction", in, kAction, &Make<CSuspendAction>},
      {51,
       "CGPSEvent",
       in,
       {Flag("Val"),
        {"Lat", FieldKind::Int32, 0},
        {"Long", FieldKind::Int32, 0},
        U32("TS"),
        {"Speed", FieldKind::Uint16, 0},
        {"Course", FieldKind::Uint16, 0},
        {"Sat", FieldKind::Uint8, 0}},
       &Make<CGPSEvent>},
      {52, "CPrivacyStateEvent", out, {Flag("PM")}, &Make<CPrivacyStateEvent>},
      {53, "CGPSFeedEvent", out, {Flag("Enabled")}, &Make<CGPSFeedEvent>},
  };
}

}  // namespace

const std::vector<MessageInfo>& MessageCatalogue() {
  static const std::vector<MessageInfo> catalogue = Build();
  return catalogue;
}

const MessageInfo* FindMessageInfo(int id) {
  for (const MessageInfo& info : MessageCatalogue()) {
    if (info.id == id) {
      return &info;
    }
  }
  return nullptr;
}

const MessageInfo* FindMessageInfo(const std::string& className) {
  for (const MessageInfo& info : MessageCatalogue()) {
    if (className == info.className) {
      return &info;
    }
  }
  return nullptr;
}

bool ReadFieldValue(CBrenikCommunicationMessage& message, const FieldInfo& field, std::string& value) {
  const char* key = field.name.c_str();
  bool ok = false;
  switch (field.kind) {
    case FieldKind::Int8: {
      int8_t number = 0;
      ok = message.GetInt8(key, &number);
      value = std::to_string(number);
      break;
    }
    case FieldKind::Uint8: {
      uint8_t number = 0;
      ok = message.GetUint8(key, &number);
      value = std::to_string(number);
      break;
    }
    case FieldKind::Uint16: {
      uint16_t number = 0;
      ok = message.GetUint16(key, &number);
      value = std::to_string(number);
      break;
    }
    case FieldKind::Int32: {
      int32_t number = 0;
      ok = message.GetInt32(key, &number);
      value = std::to_string(number);
      break;
    }
    case FieldKind::Uint32: {
      uint32_t number = 0;
      ok = message.GetUint32(key, &number);
      value = std::to_string(number);
      break;
    }
    case FieldKind::Bool: {
      int flag = 0;
      ok = message.GetBool(key, &flag);
      value = flag != 0 ? "1" : "0";
      break;
    }
    case FieldKind::Text: {
      std::vector<char> buffer(static_cast<size_t>(field.textSize));
      ok = message.GetStr(key, buffer.data(), field.textSize);
      value = ok ? buffer.data() : "";
      break;
    }
  }
  return ok;
}

}  // namespace bkcom

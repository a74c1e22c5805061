#include "bkcom/VelarnMessageRegistry.h"

#include <memory>

#include "bkcom/IIncomingMessageHandler.h"

bool IVelarnMessageFactory::HasId(int8_t id) const {
  return static_cast<int8_t>(GetMessageId() & 0xFF) == id;
}

CVelarnMessageRegistry::CVelarnMessageRegistry() = default;

void CVelarnMessageRegistry::Add(IVelarnMessageFactory* factory) {
  if (count < kCapacity) {
    factories[count++] = factory;
  }
}

IVelarnMessageFactory* CVelarnMessageRegistry::GetFactory(int index) const {
  return index >= 0 && index < count ? factories[index] : nullptr;
}

CVelarnMessage* CVelarnMessageRegistry::CreateMessage(CBrenikCommunicationMessage& source) {
  int8_t id = -1;
  source.GetInt8("MessageID", &id);  // a message without it keeps -1, which no class has
  for (int i = 0; i < count; ++i) {
    if (!factories[i]->HasId(id)) {
      continue;
    }
    std::unique_ptr<CVelarnMessage> message(factories[i]->Create());
    if (!message || !message->Decode(source)) {
      return nullptr;
    }
    return message.release();
  }
  return nullptr;
}

void CVelarnMessageRegistry::Dispatch(CVelarnMessage& message, bkcom::IIncomingMessageHandler& handler) {
  switch (message.GetMessageId()) {
    case CAcknowledge::kId:
      handler.Handle(static_cast<CAcknowledge&>(message));
      break;
    case CBrenikInitVelarnAction::kId:
      handler.Handle(static_cast<CBrenikInitVelarnAction&>(message));
      break;
    case CGetFeaturesInfoAction::kId:
      handler.Handle(static_cast<CGetFeaturesInfoAction&>(message));
      break;
    case CRequestWorkingTimeStateAction::kId:
      handler.Handle(static_cast<CRequestWorkingTimeStateAction&>(message));
      break;
    case CChangeWorkingTimeStateAction::kId:
      handler.Handle(static_cast<CChangeWorkingTimeStateAction&>(message));
      break;
    case CGetConnectionStateAction::kId:
      handler.Handle(static_cast<CGetConnectionStateAction&>(message));
      break;
    case CGetAllItemsAction::kId:
      handler.Handle(static_cast<CGetAllItemsAction&>(message));
      break;
    case CGetStatusListAction::kId:
      handler.Handle(static_cast<CGetStatusListAction&>(message));
      break;
    case CMarkReadOrderAction::kId:
      handler.Handle(static_cast<CMarkReadOrderAction&>(message));
      break;
    case CAcceptOrderAction::kId:
      handler.Handle(static_cast<CAcceptOrderAction&>(message));
      break;
    case CRejectOrderAction::kId:
      handler.Handle(static_cast<CRejectOrderAction&>(message));
      break;
    case CCancelOrderAction::kId:
      handler.Handle(static_cast<CCancelOrderAction&>(message));
      break;
    case CStartOrderAction::kId:
      handler.Handle(static_cast<CStartOrderAction&>(message));
      break;
    case CSuspendOrderAction::kId:
      handler.Handle(static_cast<CSuspendOrderAction&>(message));
      break;
    case CResumeOrderAction::kId:
      handler.Handle(static_cast<CResumeOrderAction&>(message));
      break;
    case CCompleteOrderAction::kId:
      handler.Handle(static_cast<CCompleteOrderAction&>(message));
      break;
    case CSendStatusOrderAction::kId:
      handler.Handle(static_cast<CSendStatusOrderAction&>(message));
      break;
    case CChangeActiveStateAction::kId:
      handler.Handle(static_cast<CChangeActiveStateAction&>(message));
      break;
    case CDeleteOrderAction::kId:
      handler.Handle(static_cast<CDeleteOrderAction&>(message));
      break;
    case CMarkReadTextMessageAction::kId:
      handler.Handle(static_cast<CMarkReadTextMessageAction&>(message));
      break;
    case CDeleteTextMessageAction::kId:
      handler.Handle(static_cast<CDeleteTextMessageAction&>(message));
      break;
    case CSendTextMessageAction::kId:
      handler.Handle(static_cast<CSendTextMessageAction&>(message));
      break;
    case CSendStatusAction::kId:
      handler.Handle(static_cast<CSendStatusAction&>(message));
      break;
    case CChangeLogbookModeAction::kId:
      handler.Handle(static_cast<CChangeLogbookModeAction&>(message));
      break;
    case CNavigationStateEvent::kId:
      handler.Handle(static_cast<CNavigationStateEvent&>(message));
      break;
    case CSetDriverIdAction::kId:
      handler.Handle(static_cast<CSetDriverIdAction&>(message));
      break;
    case CSuspendAction::kId:
      handler.Handle(static_cast<CSuspendAction&>(message));
      break;
    case CGPSEvent::kId:
      handler.Handle(static_cast<CGPSEvent&>(message));
      break;
    default:
      break;
  }
}

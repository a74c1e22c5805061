#include "velarnd/InboxSender.h"

#include "bkcom/Events.h"
#include "velarnd/Application.h"
#include "velarnd/NavigationRecords.h"

namespace velarnd {

void InboxSender::Visit(data::Order& order) {
  COrderInfoEvent event;
  event.order = MakeOrderRecord(order);
  application.SendEvent(event);
}

void InboxSender::Visit(data::TextMessage& message) {
  CTextMessageInfoEvent event;
  event.msg = MakeTextMessageRecord(message);
  application.SendEvent(event);
}

}  // namespace velarnd

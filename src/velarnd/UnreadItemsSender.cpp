#include "velarnd/UnreadItemsSender.h"

#include "bkcom/Events.h"
#include "velarnd/Application.h"
#include "velarnd/NavigationRecords.h"

namespace velarnd {

void UnreadItemsSender::Visit(data::Order& order) {
  COrderReceivedEvent event;
  event.order = MakeOrderRecord(order);
  application.SendEvent(event);
}

void UnreadItemsSender::Visit(data::TextMessage& message) {
  CTextMessageReceivedEvent event;
  event.msg = MakeTextMessageRecord(message);
  application.SendEvent(event);
}

}  // namespace velarnd

#include "velarnd/NavigationRecords.h"

#include "bkcom/Text.h"
#include "data/Order.h"
#include "data/Status.h"
#include "data/TextMessage.h"

namespace velarnd {

namespace {

void AppendCleaned(std::string& target, const std::string& part) {
  for (char c : part) {
    target.push_back(c == ';' || c == '|' ? ' ' : c);
  }
}

}  // namespace

std::string JoinTelephoneBook(const std::vector<data::TelephoneBookEntry>& book) {
  std::string joined;
  for (size_t i = 0; i < book.size(); ++i) {
    if (i > 0) {
      joined.push_back('|');
    }
    AppendCleaned(joined, book[i].name);
    joined.push_back(';');
    AppendCleaned(joined, book[i].number);
    if (joined.size() > kMaxTelephoneBookText) {
      return std::string();
    }
  }
  return joined;
}

COrderRecord MakeOrderRecord(const data::Order& order) {
  COrderRecord record;
  record.id = order.id;
  record.sKey = order.sortKey;
  record.type = static_cast<uint32_t>(order.type);
  record.state = static_cast<uint32_t>(order.state);
  record.recvAt = order.arrivalTime;
  record.lmt = order.lastChangeTime;
  record.as = order.activeState;
  record.aas = order.allowedActiveStates;
  // Integer division cuts towards zero, south and west included.
  record.dest.lat = order.destination.latitude / 10;
  record.dest.lon = order.destination.longitude / 10;
  record.pa = order.plannedArrival;
  bkcom::CopyText(record.num, order.number);
  bkcom::CopyText(record.text, order.text);
  bkcom::CopyText(record.tn, JoinTelephoneBook(order.telephoneBook));
  bkcom::CopyText(record.destDesc, order.destinationDescription);
  return record;
}

CTextMessageRecord MakeTextMessageRecord(const data::TextMessage& message) {
  CTextMessageRecord record;
  record.id = message.id;
  record.sKey = message.sortKey;
  record.read = message.read;
  bkcom::CopyText(record.text, message.text);
  return record;
}

CStatusRecord MakeStatusRecord(const data::Status& status, unsigned type) {
  CStatusRecord record;
  record.id = status.id;
  record.type = type;
  if (status.text.size() <= kMaxStatusText) {
    bkcom::CopyText(record.text, status.text);
  }
  return record;
}

}  // namespace velarnd

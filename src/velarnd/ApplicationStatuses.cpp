// Statuses: the unit's status table split into the two lists of the
// database, listed for the navigation application and sent to the server.

#include <algorithm>
#include <deque>
#include <utility>

#include "bkcom/Actions.h"
#include "bkcom/Events.h"
#include "data/Database.h"
#include "quorlan/EventOutMessages.h"
#include "velarnd/Application.h"
#include "velarnd/NavigationRecords.h"

namespace velarnd {

namespace {

// The values of "Type" on the navigation link.
constexpr unsigned kOrderStatusType = 1;
constexpr unsigned kStatusType = 2;

// Keys of the unit's table: 1 to 30 are statuses with the same number, 31 to
// 60 order statuses numbered from 1.
constexpr unsigned kStatusesPerList = 30;

typedef std::vector<std::pair<unsigned, std::string>> StatusRows;

bool ById(const std::pair<unsigned, std::string>& a, const std::pair<unsigned, std::string>& b) {
  return a.first < b.first;
}

bool SameList(const StatusRows& rows, const data::ObjectList<data::Status>& stored) {
  if (rows.size() != stored.size()) {
    return false;
  }
  auto storedEntry = stored.begin();
  for (const auto& row : rows) {
    if (row.first != storedEntry->second.id || row.second != storedEntry->second.text) {
      return false;
    }
    ++storedEntry;
  }
  return true;
}

}  // namespace

void Application::OnStatusTableModified(velarn::IVelarnDriver& /*driver*/,
                                        const std::vector<velarn::StatusTableRow>& table) {
  boost::recursive_mutex::scoped_lock lock(mutex);
  StatusRows statuses;
  StatusRows orderStatuses;
  for (const velarn::StatusTableRow& row : table) {
    if (row.key >= 1 && row.key <= kStatusesPerList) {
      statuses.emplace_back(row.key, row.text);
    } else if (row.key > kStatusesPerList && row.key <= 2 * kStatusesPerList) {
      orderStatuses.emplace_back(row.key - kStatusesPerList, row.text);
    }
  }
  // Of two rows with one id the table's first stays first.
  std::stable_sort(statuses.begin(), statuses.end(), ById);
  std::stable_sort(orderStatuses.begin(), orderStatuses.end(), ById);

  const std::pair<StatusRows*, data::ObjectList<data::Status>*> lists[] = {
      {&statuses, &database.statuses}, {&orderStatuses, &database.orderStatuses}};
  const unsigned types[] = {kStatusType, kOrderStatusType};
  for (int i = 0; i < 2; ++i) {
    const StatusRows& rows = *lists[i].first;
    data::ObjectList<data::Status>& stored = *lists[i].second;
    if (SameList(rows, stored)) {
      continue;
    }
    stored.clear();
    for (const auto& row : rows) {
      // emplace keeps the first of two rows with one id.
      stored.emplace(row.first, data::Status(row.first, row.second));
    }
    // The navigation application asks for the list when it needs it.
    CStatusListUpdatedEvent updated;
    updated.type = types[i];
    SendEvent(updated);
  }
}

void Application::SendStatusList(bool orderStatuses) {
  std::deque<data::Status*> entries;
  if (orderStatuses) {
    database.GetOrderStatuses(entries);
  } else {
    database.GetStatuses(entries);
  }
  const unsigned type = orderStatuses ? kOrderStatusType : kStatusType;
  CStatusListInfoEvent info;
  info.type = type;
  info.count = static_cast<uint32_t>(entries.size());
  SendEvent(info);
  for (const data::Status* status : entries) {
    CStatusInfoEvent event;
    event.status = MakeStatusRecord(*status, type);
    SendEvent(event);
  }
}

void Application::Handle(const CGetStatusListAction& message) {
  boost::recursive_mutex::scoped_lock lock(mutex);
  if (message.type != kOrderStatusType && message.type != kStatusType) {
    Acknowledge(2, message);
    return;
  }
  Acknowledge(1, message);
  SendStatusList(message.type == kOrderStatusType);
}

void Application::Handle(const CSendStatusAction& message) {
  boost::recursive_mutex::scoped_lock lock(mutex);
  if (RefusedForRoom(message)) {
    return;
  }
  if (database.statuses.count(message.statusId) == 0) {
    Acknowledge(2, message);
    return;
  }
  Acknowledge(1, message);
  // Only the id and the driver's own text go out; the list's text is known
  // to the office.
  quorlan::StatusEventOutMsg event;
  FillEventHeader(event);
  event.statusId.SetValue(static_cast<uint16_t>(message.statusId));
  if (message.text[0] != '\0') {
    event.text.SetValue(message.text);
  }
  SendToServer(event, "", kServerMessageFlags);
}

void Application::Handle(const CSendStatusOrderAction& message) {
  boost::recursive_mutex::scoped_lock lock(mutex);
  if (RefusedForRoom(message)) {
    return;
  }
  if (database.orderStatuses.count(message.statusId) == 0 || FindOrder(message.orderId) == nullptr) {
    Acknowledge(2, message);
    return;
  }
  Acknowledge(1, message);
  quorlan::OrderStatusEventOutMsg event;
  FillEventHeader(event);
  event.orderId.SetValue(message.orderId);
  event.statusId.SetValue(static_cast<uint16_t>(message.statusId));
  if (message.text[0] != '\0') {
    event.text.SetValue(message.text);
  }
  SendToServer(event, "", kServerMessageFlags);
}

}  // namespace velarnd

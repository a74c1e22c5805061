// What the navigation application can ask at any time: the whole inbox, the
// features in force and the state of the unit link.

#include <deque>

#include "bkcom/Actions.h"
#include "bkcom/Events.h"
#include "data/Database.h"
#include "velarn/IVelarnDriver.h"
#include "velarnd/Application.h"
#include "velarnd/InboxSender.h"

namespace velarnd {

void Application::SendFeaturesInfo() {
  CFeaturesInfoEvent event;
  event.wtr = database.config.workingTimeEnabled;
  event.logbook = database.config.logbookEnabled;
  event.askDriverId = database.config.askDriverId;
  event.gpsFeed = database.velarn.gpsFeedEnabled;
  SendEvent(event);
}

void Application::Handle(const CGetAllItemsAction& message) {
  boost::recursive_mutex::scoped_lock lock(mutex);
  Acknowledge(1, message);
  CInboxInfoEvent info;
  info.orders = static_cast<uint32_t>(database.orders.size());
  info.textMessages = static_cast<uint32_t>(database.textMessages.size());
  SendEvent(info);

  // Newest first, orders and text messages merged; no pacing.
  InboxSender sender(*this);
  std::deque<data::InboxEntry*> entries;
  database.GetInboxEntries(entries);
  for (data::InboxEntry* entry : entries) {
    entry->Accept(sender);
  }
}

void Application::Handle(const CGetFeaturesInfoAction& message) {
  boost::recursive_mutex::scoped_lock lock(mutex);
  Acknowledge(1, message);
  SendFeaturesInfo();
}

void Application::Handle(const CGetConnectionStateAction& message) {
  boost::recursive_mutex::scoped_lock lock(mutex);
  Acknowledge(1, message);
  CConnectionStateEvent event;
  event.connected = driver.IsConnected();
  SendEvent(event);
}

}  // namespace velarnd

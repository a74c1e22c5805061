// Text messages: stored when they come from the office, tracked as read,
// and passed straight on to the server when the driver writes one.

#include "bkcom/Actions.h"
#include "bkcom/Events.h"
#include "common/Time.h"
#include "data/Database.h"
#include "quorlan/EventOutMessages.h"
#include "quorlan/IncomingMessages.h"
#include "velarnd/Application.h"
#include "velarnd/InboxLists.h"
#include "velarnd/NavigationRecords.h"

namespace velarnd {

namespace {

// Text messages kept; a new one first pushes the oldest out, without a word
// to the server.
constexpr size_t kMaxTextMessages = 100;
// Longer texts are cut without notice (bytes).
constexpr size_t kMaxText = 700;

constexpr unsigned kReceived = 101;
constexpr unsigned kRead = 102;

}  // namespace

void Application::EraseTextMessage(unsigned messageId, bool remote) {
  database.textMessages.erase(messageId);
  CTextMessageDeletedEvent event;
  event.msgId = messageId;
  event.remote = remote;
  SendEvent(event);
}

void Application::EvictOldestTextMessage() {
  EraseTextMessage(OldestEntry(database.textMessages)->first, true);
}

void Application::Handle(const quorlan::NewTextMessageInMsg& message) {
  const unsigned messageId = message.messageId.value;
  if (database.textMessages.count(messageId) != 0) {
    EraseTextMessage(messageId, true);
  }
  while (!database.textMessages.empty() && database.textMessages.size() >= kMaxTextMessages) {
    EvictOldestTextMessage();
  }

  data::TextMessage stored(messageId, message.text.value.substr(0, kMaxText));
  stored.arrivalTime = common::GetTime();
  stored.lastChangeTime = stored.arrivalTime;
  // The same generator as for orders, so that both lists merge into one inbox.
  stored.sortKey = database.sortKeys.Next();
  database.textMessages.emplace(messageId, stored);

  quorlan::TextMessageWorkflowEventOutMsg event;
  FillEventHeader(event);
  event.messageId.SetValue(messageId);
  event.workflowCode.SetValue(kReceived);
  SendToServer(event, "", kServerMessageFlags);

  CTextMessageReceivedEvent received;
  received.msg = MakeTextMessageRecord(stored);
  SendEvent(received);
}

void Application::Handle(const CMarkReadTextMessageAction& message) {
  boost::recursive_mutex::scoped_lock lock(mutex);
  auto found = database.textMessages.find(message.msgId);
  if (RefusedForRoom(message)) {
    return;
  }
  if (found == database.textMessages.end() || !found->second.MarkRead()) {
    Acknowledge(2, message);
    return;
  }
  Acknowledge(1, message);
  quorlan::TextMessageWorkflowEventOutMsg event;
  FillEventHeader(event);
  event.messageId.SetValue(message.msgId);
  event.workflowCode.SetValue(kRead);
  SendToServer(event, "", kServerMessageFlags);

  CTextMessageModifiedEvent modified;
  modified.msg = MakeTextMessageRecord(found->second);
  modified.remote = false;
  SendEvent(modified);
}

void Application::Handle(const CDeleteTextMessageAction& message) {
  boost::recursive_mutex::scoped_lock lock(mutex);
  auto found = database.textMessages.find(message.msgId);
  if (found == database.textMessages.end() || !found->second.read) {
    Acknowledge(2, message);
    return;
  }
  Acknowledge(1, message);
  EraseTextMessage(message.msgId, false);
}

void Application::Handle(const CSendTextMessageAction& message) {
  boost::recursive_mutex::scoped_lock lock(mutex);
  // Carried out whenever the queue to the unit has room: with the unit link
  // down the text waits there.
  if (RefusedForRoom(message)) {
    return;
  }
  Acknowledge(1, message);
  quorlan::TextMessageEventOutMsg event;
  FillEventHeader(event);
  event.text.SetValue(message.text);
  SendToServer(event, "", kServerMessageFlags);
}

}  // namespace velarnd

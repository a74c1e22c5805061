#pragma once

#include "data/InboxEntry.h"

namespace velarnd {

class Application;

// Sends every entry it visits as a received event (COrderReceivedEvent,
// CTextMessageReceivedEvent): after a handshake the unread entries reach the
// navigation application exactly as if they had just arrived. Made on the
// stack for one pass, under the application's mutex.
class UnreadItemsSender : public data::IInboxEntryVisitor {
 public:
  explicit UnreadItemsSender(Application& application) : application(application) {}
  void Visit(data::Order& order) override;
  void Visit(data::TextMessage& message) override;

 private:
  Application& application;
};

}  // namespace velarnd

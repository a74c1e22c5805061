#pragma once

#include "data/InboxEntry.h"

namespace velarnd {

class Application;

// Sends every entry it visits as an info event (COrderInfoEvent,
// CTextMessageInfoEvent): the answer to CGetAllItemsAction. Made on the stack
// for one pass, under the application's mutex.
class InboxSender : public data::IInboxEntryVisitor {
 public:
  explicit InboxSender(Application& application) : application(application) {}
  void Visit(data::Order& order) override;
  void Visit(data::TextMessage& message) override;

 private:
  Application& application;
};

}  // namespace velarnd

#include "bkcom/ABKComEventHandler.h"

namespace bkcom {

void ABKComEventHandler::SetSender(IMessageSender* newSender) { sender = newSender; }

void ABKComEventHandler::SendEvent(CVelarnMessage& message) {
  IMessageSender* const current = sender;
  if (current == nullptr) {
    return;
  }
  try {
    current->Send(message);
  } catch (...) {
    // Dropped on purpose, see the header.
  }
}

void ABKComEventHandler::DropClient() {
  IMessageSender* const current = sender;
  if (current != nullptr) {
    current->DropClient();
  }
}

}  // namespace bkcom

#pragma once

#include "quorlan/AQuorlanMessage.h"

namespace quorlan {

class IIncomingMessageHandler;
class Message;

// A message from the dispatch server, made by MessageCodec::Parse.
class AIncomingMessage : public virtual AQuorlanMessage {
 public:
  // Copies the fields out of the tree; fails with ParseException.
  virtual void ReadFrom(Message& message) = 0;
  // Calls the handler's overload for the concrete class with *this.
  virtual void Dispatch(IIncomingMessageHandler& handler) const = 0;
};

}  // namespace quorlan

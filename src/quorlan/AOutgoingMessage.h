#pragma once

#include "quorlan/AQuorlanMessage.h"

namespace quorlan {

class Message;

// A message to the dispatch server. Its creator sets the public fields;
// MessageCodec::Serialize writes it through WriteTo.
class AOutgoingMessage : public virtual AQuorlanMessage {
 public:
  // Sets the id of the tree to GetId(); derived classes call this first and
  // then write their keys.
  virtual void WriteTo(Message& message) const;
};

}  // namespace quorlan

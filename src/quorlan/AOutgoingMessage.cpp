#include "quorlan/AOutgoingMessage.h"

#include "quorlan/Message.h"

namespace quorlan {

void AOutgoingMessage::WriteTo(Message& message) const { message.SetId(GetId()); }

}  // namespace quorlan

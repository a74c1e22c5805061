#include "bkcom/VelarnMessage.h"

CVelarnMessage::CVelarnMessage() { message.Create(); }

bool CVelarnMessage::Decode(CBrenikCommunicationMessage& /*source*/) { return true; }

bool CVelarnMessage::Encode() { return true; }

bool CVelarnMessage::Send(CBrenikCommunicationClient& client) {
  // A failure here shows in Encode or in the send itself.
  message.SetInt8("MessageID", static_cast<int8_t>(GetMessageId()));
  if (!Encode()) {
    return false;
  }
  return message.Send(client);
}

#pragma once

#include "bkcom/BrenikCommunicationMessage.h"

class CBrenikCommunicationClient;

// Base of every message of the navigation link. Each class has its number,
// carried in the field "MessageID" (an int8, so numbers stay below 128), and
// converts in both directions: Decode reads a received library message into
// the object's members, Encode writes the members into the object's own
// library message. Overrides run their base's first and stop at the first
// field that fails, so a reader never gets a partly filled object.
class CVelarnMessage {
 public:
  CVelarnMessage();
  virtual ~CVelarnMessage() = default;

  virtual int GetMessageId() const = 0;
  virtual bool Decode(CBrenikCommunicationMessage& source);
  virtual bool Encode();

  // Sets "MessageID", encodes and sends. False, with nothing sent, when a
  // field can't be written.
  bool Send(CBrenikCommunicationClient& client);

  // The object's own library message, created with the object.
  CBrenikCommunicationMessage message;
};

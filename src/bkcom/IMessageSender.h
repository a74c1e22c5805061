#pragma once

class CVelarnMessage;

namespace bkcom {

// The way to the navigation application, for any thread.
class IMessageSender {
 public:
  virtual ~IMessageSender() = default;
  // Sends if an application is attached and drops the message otherwise; the
  // caller keeps the message.
  virtual void Send(CVelarnMessage& message) = 0;
  // Lets go of the attached application, if any: its connection is closed
  // and the way is free for the next one. Returns at once.
  virtual void DropClient() {}
};

}  // namespace bkcom

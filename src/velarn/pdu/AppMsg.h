#pragma once

#include "velarn/pdu/PDU.h"

namespace velarn {

class IIncomingAppMsgHandler;

// A typed PDU of the unit protocol. Classes are named by their identifier:
// AppMsg_4_8 is class 4, type 8 (0x0408); types above 9 are written in
// hexadecimal (AppMsg_4_A is 0x040A).
class AApplicationMessage {
 public:
  virtual ~AApplicationMessage() = default;
  virtual unsigned short GetId() const = 0;
};

// A PDU that the unit sends to this device. Made empty by its factory, filled
// by Decode, then handed to the handler's overload for its class by Dispatch.
class AIncomingAppMsg : public virtual AApplicationMessage {
 public:
  ~AIncomingAppMsg() override = default;
  unsigned short GetId() const override = 0;
  // Throws ParseException for an option of the wrong size or a missing
  // required option; unknown options are skipped, a repeated one wins.
  virtual void Decode(const PDU& pdu) = 0;
  virtual void Dispatch(IIncomingAppMsgHandler& handler) = 0;
};

// A PDU that this device sends to the unit. Built with its values; Encode lets
// the PDU's parameters point into the message's fields, so the message must
// outlive the PDU.
class AOutgoingAppMsg : public virtual AApplicationMessage {
 public:
  ~AOutgoingAppMsg() override = default;
  unsigned short GetId() const override = 0;
  // Sets the identifier and adds no options; classes with options call this
  // first, then append one parameter per option in their order.
  virtual void Encode(PDU& pdu) const;
};

}  // namespace velarn

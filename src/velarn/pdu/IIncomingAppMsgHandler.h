#pragma once

namespace velarn {

class AppMsg_1_2;
class AppMsg_4_3;
class AppMsg_4_5;
class AppMsg_4_6;
class AppMsg_4_8;
class AppMsg_4_A;
class AppMsg_7_1;
class AppMsg_8_2;
class AppMsg_8_4;
class AppMsg_8_6;

// What a decoded incoming PDU is handed to: AIncomingAppMsg::Dispatch calls the
// overload for the message's own class. The application layer of the unit
// link implements it.
class IIncomingAppMsgHandler {
 public:
  virtual ~IIncomingAppMsgHandler() = default;
  virtual void Handle(const AppMsg_1_2& message) = 0;
  virtual void Handle(const AppMsg_4_3& message) = 0;
  virtual void Handle(const AppMsg_4_5& message) = 0;
  virtual void Handle(const AppMsg_4_6& message) = 0;
  virtual void Handle(const AppMsg_4_8& message) = 0;
  virtual void Handle(const AppMsg_4_A& message) = 0;
  virtual void Handle(const AppMsg_7_1& message) = 0;
  virtual void Handle(const AppMsg_8_2& message) = 0;
  virtual void Handle(const AppMsg_8_4& message) = 0;
  virtual void Handle(const AppMsg_8_6& message) = 0;
};

}  // namespace velarn

#pragma once

class CAcknowledge;
class CBrenikInitVelarnAction;
class CGetFeaturesInfoAction;
class CRequestWorkingTimeStateAction;
class CChangeWorkingTimeStateAction;
class CGetConnectionStateAction;
class CGetAllItemsAction;
class CGetStatusListAction;
class CMarkReadOrderAction;
class CAcceptOrderAction;
class CRejectOrderAction;
class CCancelOrderAction;
class CStartOrderAction;
class CSuspendOrderAction;
class CResumeOrderAction;
class CCompleteOrderAction;
class CSendStatusOrderAction;
class CChangeActiveStateAction;
class CDeleteOrderAction;
class CMarkReadTextMessageAction;
class CDeleteTextMessageAction;
class CSendTextMessageAction;
class CSendStatusAction;
class CChangeLogbookModeAction;
class CNavigationStateEvent;
class CSetDriverIdAction;
class CSuspendAction;
class CGPSEvent;

namespace bkcom {

// The receiver of the messages that the navigation application sends, one
// overload per class that can come in (CVelarnMessageRegistry::Dispatch).
class IIncomingMessageHandler {
 public:
  virtual ~IIncomingMessageHandler() = default;
  virtual void Handle(const CAcknowledge& message) = 0;
  virtual void Handle(const CBrenikInitVelarnAction& message) = 0;
  virtual void Handle(const CGetFeaturesInfoAction& message) = 0;
  virtual void Handle(const CRequestWorkingTimeStateAction& message) = 0;
  virtual void Handle(const CChangeWorkingTimeStateAction& message) = 0;
  virtual void Handle(const CGetConnectionStateAction& message) = 0;
  virtual void Handle(const CGetAllItemsAction& message) = 0;
  virtual void Handle(const CGetStatusListAction& message) = 0;
  virtual void Handle(const CMarkReadOrderAction& message) = 0;
  virtual void Handle(const CAcceptOrderAction& message) = 0;
  virtual void Handle(const CRejectOrderAction& message) = 0;
  virtual void Handle(const CCancelOrderAction& message) = 0;
  virtual void Handle(const CStartOrderAction& message) = 0;
  virtual void Handle(const CSuspendOrderAction& message) = 0;
  virtual void Handle(const CResumeOrderAction& message) = 0;
  virtual void Handle(const CCompleteOrderAction& message) = 0;
  virtual void Handle(const CSendStatusOrderAction& message) = 0;
  virtual void Handle(const CChangeActiveStateAction& message) = 0;
  virtual void Handle(const CDeleteOrderAction& message) = 0;
  virtual void Handle(const CMarkReadTextMessageAction& message) = 0;
  virtual void Handle(const CDeleteTextMessageAction& message) = 0;
  virtual void Handle(const CSendTextMessageAction& message) = 0;
  virtual void Handle(const CSendStatusAction& message) = 0;
  virtual void Handle(const CChangeLogbookModeAction& message) = 0;
  virtual void Handle(const CNavigationStateEvent& message) = 0;
  virtual void Handle(const CSetDriverIdAction& message) = 0;
  virtual void Handle(const CSuspendAction& message) = 0;
  virtual void Handle(const CGPSEvent& message) = 0;
};

}  // namespace bkcom

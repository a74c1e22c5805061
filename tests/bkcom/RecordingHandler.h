#pragma once

// A bkcom::IIncomingMessageHandler that writes down the class of every
// message it gets, by the overload that was called.

#include <string>
#include <vector>

#include "bkcom/Actions.h"
#include "bkcom/Events.h"
#include "bkcom/IIncomingMessageHandler.h"

namespace bkcomtest {

class RecordingIncomingHandler : public bkcom::IIncomingMessageHandler {
 public:
  std::vector<std::string> calls;

#define BKCOMTEST_RECORD(Class) \
  void Handle(const Class&) override { calls.push_back(#Class); }
  BKCOMTEST_RECORD(CAcknowledge)
  BKCOMTEST_RECORD(CBrenikInitVelarnAction)
  BKCOMTEST_RECORD(CGetFeaturesInfoAction)
  BKCOMTEST_RECORD(CRequestWorkingTimeStateAction)
  BKCOMTEST_RECORD(CChangeWorkingTimeStateAction)
  BKCOMTEST_RECORD(CGetConnectionStateAction)
  BKCOMTEST_RECORD(CGetAllItemsAction)
  BKCOMTEST_RECORD(CGetStatusListAction)
  BKCOMTEST_RECORD(CMarkReadOrderAction)
  BKCOMTEST_RECORD(CAcceptOrderAction)
  BKCOMTEST_RECORD(CRejectOrderAction)
  BKCOMTEST_RECORD(CCancelOrderAction)
  BKCOMTEST_RECORD(CStartOrderAction)
  BKCOMTEST_RECORD(CSuspendOrderAction)
  BKCOMTEST_RECORD(CResumeOrderAction)
  BKCOMTEST_RECORD(CCompleteOrderAction)
  BKCOMTEST_RECORD(CSendStatusOrderAction)
  BKCOMTEST_RECORD(CChangeActiveStateAction)
  BKCOMTEST_RECORD(CDeleteOrderAction)
  BKCOMTEST_RECORD(CMarkReadTextMessageAction)
  BKCOMTEST_RECORD(CDeleteTextMessageAction)
  BKCOMTEST_RECORD(CSendTextMessageAction)
  BKCOMTEST_RECORD(CSendStatusAction)
  BKCOMTEST_RECORD(CChangeLogbookModeAction)
  BKCOMTEST_RECORD(CNavigationStateEvent)
  BKCOMTEST_RECORD(CSetDriverIdAction)
  BKCOMTEST_RECORD(CSuspendAction)
  BKCOMTEST_RECORD(CGPSEvent)
#undef BKCOMTEST_RECORD
};

}  // namespace bkcomtest

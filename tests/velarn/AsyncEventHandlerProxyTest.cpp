#include "velarn/AsyncEventHandlerProxy.h"

#include <gtest/gtest.h>

#include "velarn/LinkLog.h"

using linktest::Log;

namespace {

// Every event crosses the queue with copies of its arguments, in the order of
// raising, and reaches the handler's matching operation.
TEST(AsyncEventHandlerProxyTest, EventsArriveInOrderWithTheirOwnCopies) {
  Log log;
  linktest::AppEventLog handler(log);
  velarn::EventTie tie(&handler);
  velarn::AsyncEventHandlerProxy proxy(tie);

  common::Buffer bytes(16, 200);
  bytes.Append(0xAB);
  std::vector<velarn::StatusTableRow> table(2);
  table[0].key = 1;
  table[0].text = "on the way";
  table[1].key = 2;
  table[1].text = "arrived";
  velarn::GPSFix fix;
  fix.status = 'L';
  fix.satellites = 7;
  velarn::GPSFixEx fixEx;
  velarn::LogbookData logbook;
  logbook.mode = 1;
  logbook.odometer = 99;

  // Posted before the worker runs, so that every source can be changed
  // before any event is executed.
  proxy.OnConnected(true);
  proxy.OnInterrupted();
  proxy.OnReceivedMessage(bytes, false);
  proxy.OnStatusTableModified(table);
  proxy.OnNewGPSFix(fix, fixEx);
  proxy.OnNewLogbookInfo(logbook);
  proxy.OnZuParamRequest("NCI");
  proxy.OnVelarnParamResponse("GPF", bytes);
  proxy.OnVelarnParamNotFound("ZUK");
  proxy.OnVelarnParamChanged("ZUK");
  proxy.OnNetworkRegistrationChanged('5', '4');
  bytes.Clear();
  bytes.Append(0xCD);
  table.clear();
  fix.status = 'V';
  logbook.mode = 3;
  EXPECT_TRUE(log.Lines().empty());

  tie.Start();
  ASSERT_TRUE(log.WaitFor("", 11, 3000));
  tie.Stop();
  EXPECT_EQ((std::vector<std::string>{"connected 1", "interrupted", "message ab valid 0",
                                      "table 1=on the way,2=arrived", "gps L 7 255", "logbook 1 99",
                                      "zu-param NCI", "param-value GPF ab", "param-unknown ZUK",
                                      "param-changed ZUK", "registration 53 52"}),
            log.Lines());
}

}  // namespace

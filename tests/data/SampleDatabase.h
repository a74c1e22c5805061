#pragma once

// A full database with every field away from its default. Shared by the data
// and the tool tests; two databases are compared by their encodings, whose
// layout DatabaseFormatTest pins field by field.

#include <string>

#include "data/Database.h"

namespace testdata {

// 100 orders with 500-character texts, destinations and telephone books,
// 100 text messages, both status lists, the working time in a pause and all
// parameter records non-default. Deterministic: no clock is read. Fewer and
// shorter entries give the same kinds of record in a smaller file.
inline data::Database FullDatabase(const std::string& path = std::string(), unsigned count = 100,
                                   size_t textLength = 500) {
  data::Database database(path);
  for (unsigned i = 1; i <= count; ++i) {
    data::Order order(1000 + i, "A-" + std::to_string(i),
                      std::string(textLength, static_cast<char>('a' + i % 26)));
    order.sortKey = database.sortKeys.Next();
    order.arrivalTime = 1700000000 + i;
    order.lastChangeTime = 1700001000 + i;
    order.destination = data::Position(48000000 + static_cast<int>(i), -11000000 - static_cast<int>(i));
    order.destinationDescription = "Dock " + std::to_string(i);
    order.type = static_cast<data::Order::Type>(1 + i % 3);
    order.state = static_cast<data::Order::State>(i == 50 ? 9 : i % 9);
    order.activeState = 1u << (i % 5);
    order.allowedActiveStates = 0x1Fu;
    order.plannedArrival = 1700005000 + i;
    order.telephoneBook = {{"+49 89 " + std::to_string(i), "office"}, {"+49 170 " + std::to_string(i), ""}};
    database.orders.insert({order.id, order});
    data::TextMessage message(5000 + i, std::string(textLength, static_cast<char>('A' + i % 26)));
    message.sortKey = database.sortKeys.Next();
    message.arrivalTime = 1700002000 + i;
    message.lastChangeTime = 1700003000 + i;
    message.read = i % 2 == 0;
    database.textMessages.insert({message.id, message});
  }
  for (unsigned i = 1; i <= 10; ++i) {
    database.statuses.insert({i, data::Status(i, "status " + std::to_string(i))});
    database.orderStatuses.insert({100 + i, data::Status(100 + i, "order status " + std::to_string(i))});
  }
  database.workingTime.Apply(data::WorkingTimeReporting::StartOfWork, 1700000100);
  database.workingTime.Apply(data::WorkingTimeReporting::StartOfPause, 1700000200);
  data::ConfigParameters& c = database.config;
  c.configured = c.askDriverId = c.logbookEnabled = c.thirdLogbookMode = c.workingTimeEnabled = true;
  c.logbookFollowsWorkingTime = c.etaEnabled = c.privacyEnabled = true;
  c.etaIntervalHome = 300;
  c.etaIntervalRoaming = 1800;
  c.resetMode = 2;
  c.newSessionBoundary = 77;
  data::VelarnParameters& v = database.velarn;
  v.linkLostAt = 1700000000123ull;
  v.gps = {'A', data::Position(52520000, 13405000), 1700000300, 7, 88, 270};
  v.odometer = 123456;
  v.tripValue = 42;
  v.registered = v.homeNetwork = v.gpsFeedEnabled = true;
  v.logbook = {data::LogbookModePrivate, true, 1000, 1700000400, 3600, 55000};
  data::ZUParameters& z = database.zu;
  z.lastEta = 1700009000;
  z.etaOrderId = 1050;
  z.reservedTime = 0x0102030405060708ull;
  z.driverId = 4711;
  z.gps = {'L', data::Position(-33868000, 151209000), 1700000500, 9, 12, 90};
  z.logbookMode = data::LogbookModeThird;
  z.NCVersion = "5.2.1";
  z.NCBuild = "b1234";
  z.SNR = "SN-0001";
  return database;
}

}  // namespace testdata

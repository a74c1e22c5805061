#pragma once

// A full database with every field away from its default, and a comparison
// of two databases field by field. Shared by the data and the tool tests.

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <utility>
#include <vector>

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

// Every archived field of a record as one comparable tuple.
inline auto Fields(const data::InboxEntry& e) {
  return std::make_tuple(e.id, e.text, e.sortKey, e.arrivalTime, e.lastChangeTime);
}
inline auto Fields(const data::Order& o) {
  std::vector<std::pair<std::string, std::string>> book;
  for (const data::TelephoneBookEntry& entry : o.telephoneBook) {
    book.emplace_back(entry.number, entry.name);
  }
  return std::tuple_cat(
      Fields(static_cast<const data::InboxEntry&>(o)),
      std::make_tuple(o.number, o.destination.latitude, o.destination.longitude, o.destinationDescription,
                      static_cast<int>(o.type), static_cast<int>(o.state), o.activeState,
                      o.allowedActiveStates, o.plannedArrival, book));
}
inline auto Fields(const data::TextMessage& m) {
  return std::tuple_cat(Fields(static_cast<const data::InboxEntry&>(m)), std::make_tuple(m.read));
}
inline auto Fields(const data::Status& s) { return std::make_tuple(s.id, s.text); }
inline auto Fields(const data::GPSInfo& g) {
  return std::make_tuple(g.status, g.position.latitude, g.position.longitude, g.time, g.satellites, g.speed,
                         g.course);
}

template <class T>
void ExpectSameList(const data::ObjectList<T>& a, const data::ObjectList<T>& b) {
  ASSERT_EQ(a.size(), b.size());
  for (auto i = a.begin(), j = b.begin(); i != a.end(); ++i, ++j) {
    EXPECT_EQ(i->first, j->first);
    EXPECT_EQ(Fields(i->second), Fields(j->second));
  }
}

// Every member of the archive, compared one by one.
inline void ExpectSameDatabase(const data::Database& a, const data::Database& b) {
  ExpectSameList(a.orders, b.orders);
  ExpectSameList(a.textMessages, b.textMessages);
  ExpectSameList(a.statuses, b.statuses);
  ExpectSameList(a.orderStatuses, b.orderStatuses);
  auto clock = [](const data::WorkingTimeReporting& w) {
    return std::make_tuple(static_cast<int>(w.GetState()), w.GetLastChange(), w.GetStartOfWork(),
                           w.GetEndOfWork(), w.GetStartOfLastPause(), w.GetEndOfLastPause());
  };
  EXPECT_EQ(clock(a.workingTime), clock(b.workingTime));
  EXPECT_EQ(a.sortKeys.Current(), b.sortKeys.Current());
  auto config = [](const data::ConfigParameters& c) {
    return std::make_tuple(c.configured, c.askDriverId, c.logbookEnabled, c.thirdLogbookMode,
                           c.workingTimeEnabled, c.logbookFollowsWorkingTime, c.etaEnabled, c.etaIntervalHome,
                           c.etaIntervalRoaming, c.privacyEnabled, c.resetMode, c.newSessionBoundary);
  };
  EXPECT_EQ(config(a.config), config(b.config));
  auto velarn = [](const data::VelarnParameters& v) {
    const data::LogbookInfo& l = v.logbook;
    return std::make_tuple(v.linkLostAt, Fields(v.gps), v.odometer, v.tripValue, v.registered, v.homeNetwork,
                           static_cast<int>(l.mode), l.tripValid, l.tripOdometer, l.tripStarted,
                           l.tripDuration, l.tripDistance, v.gpsFeedEnabled);
  };
  EXPECT_EQ(velarn(a.velarn), velarn(b.velarn));
  auto zu = [](const data::ZUParameters& z) {
    return std::make_tuple(z.lastEta, z.etaOrderId, z.reservedTime, z.driverId, Fields(z.gps),
                           static_cast<int>(z.logbookMode), z.NCVersion, z.NCBuild, z.SNR);
  };
  EXPECT_EQ(zu(a.zu), zu(b.zu));
}

}  // namespace testdata

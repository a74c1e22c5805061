#pragma once

// A full database with every field away from its default, and a comparison
// of two databases field by field. Shared by the data and the tool tests.

#include <gtest/gtest.h>

#include <string>

#include "data/Database.h"

namespace testdata {

// 100 orders with 500-character texts, destinations and telephone books,
// 100 text messages, both status lists, the working time in a pause and all
// parameter records non-default. Deterministic: no clock is read.
inline data::Database FullDatabase(const std::string& path = std::string()) {
  data::Database database(path);
  for (unsigned i = 1; i <= 100; ++i) {
    data::Order order(1000 + i, "A-" + std::to_string(i), std::string(500, static_cast<char>('a' + i % 26)));
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
    order.telephoneBook.emplace_back("+49 89 " + std::to_string(i), "office");
    order.telephoneBook.emplace_back("+49 170 " + std::to_string(i), "");
    database.orders.insert({order.id, order});
  }
  for (unsigned i = 1; i <= 100; ++i) {
    data::TextMessage message(5000 + i, std::string(500, static_cast<char>('A' + i % 26)));
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

  data::ConfigParameters& config = database.config;
  config.configured = config.askDriverId = config.logbookEnabled = config.thirdLogbookMode = true;
  config.workingTimeEnabled = config.logbookFollowsWorkingTime = config.etaEnabled = true;
  config.etaIntervalHome = 300;
  config.etaIntervalRoaming = 1800;
  config.privacyEnabled = true;
  config.resetMode = 2;
  config.newSessionBoundary = 77;

  data::VelarnParameters& velarn = database.velarn;
  velarn.linkLostAt = 1700000000123ull;
  velarn.gps.status = 'A';
  velarn.gps.position = data::Position(52520000, 13405000);
  velarn.gps.time = 1700000300;
  velarn.gps.satellites = 7;
  velarn.gps.speed = 88;
  velarn.gps.course = 270;
  velarn.odometer = 123456;
  velarn.tripValue = 42;
  velarn.registered = velarn.homeNetwork = true;
  velarn.logbook.mode = data::LogbookModePrivate;
  velarn.logbook.tripValid = true;
  velarn.logbook.tripOdometer = 1000;
  velarn.logbook.tripStarted = 1700000400;
  velarn.logbook.tripDuration = 3600;
  velarn.logbook.tripDistance = 55000;
  velarn.gpsFeedEnabled = true;

  data::ZUParameters& zu = database.zu;
  zu.lastEta = 1700009000;
  zu.etaOrderId = 1050;
  zu.reservedTime = 0x0102030405060708ull;
  zu.driverId = 4711;
  zu.gps.status = 'L';
  zu.gps.position = data::Position(-33868000, 151209000);
  zu.gps.time = 1700000500;
  zu.gps.satellites = 9;
  zu.gps.speed = 12;
  zu.gps.course = 90;
  zu.logbookMode = data::LogbookModeThird;
  zu.NCVersion = "5.2.1";
  zu.NCBuild = "b1234";
  zu.SNR = "SN-0001";
  return database;
}

inline void ExpectSameInboxEntry(const data::InboxEntry& a, const data::InboxEntry& b) {
  EXPECT_EQ(a.id, b.id);
  EXPECT_EQ(a.text, b.text);
  EXPECT_EQ(a.sortKey, b.sortKey);
  EXPECT_EQ(a.arrivalTime, b.arrivalTime);
  EXPECT_EQ(a.lastChangeTime, b.lastChangeTime);
}

inline void ExpectSameGps(const data::GPSInfo& a, const data::GPSInfo& b) {
  EXPECT_EQ(a.status, b.status);
  EXPECT_EQ(a.position, b.position);
  EXPECT_EQ(a.time, b.time);
  EXPECT_EQ(a.satellites, b.satellites);
  EXPECT_EQ(a.speed, b.speed);
  EXPECT_EQ(a.course, b.course);
}

inline void ExpectSameStatuses(const data::ObjectList<data::Status>& a,
                               const data::ObjectList<data::Status>& b) {
  ASSERT_EQ(a.size(), b.size());
  for (auto i = a.begin(), j = b.begin(); i != a.end(); ++i, ++j) {
    EXPECT_EQ(i->first, j->first);
    EXPECT_EQ(i->second.id, j->second.id);
    EXPECT_EQ(i->second.text, j->second.text);
  }
}

// Every member of the archive, compared one by one.
inline void ExpectSameDatabase(const data::Database& a, const data::Database& b) {
  ASSERT_EQ(a.orders.size(), b.orders.size());
  for (auto i = a.orders.begin(), j = b.orders.begin(); i != a.orders.end(); ++i, ++j) {
    const data::Order& x = i->second;
    const data::Order& y = j->second;
    EXPECT_EQ(i->first, j->first);
    ExpectSameInboxEntry(x, y);
    EXPECT_EQ(x.number, y.number);
    EXPECT_EQ(x.destination, y.destination);
    EXPECT_EQ(x.destinationDescription, y.destinationDescription);
    EXPECT_EQ(x.type, y.type);
    EXPECT_EQ(x.state, y.state);
    EXPECT_EQ(x.activeState, y.activeState);
    EXPECT_EQ(x.allowedActiveStates, y.allowedActiveStates);
    EXPECT_EQ(x.plannedArrival, y.plannedArrival);
    ASSERT_EQ(x.telephoneBook.size(), y.telephoneBook.size());
    for (std::size_t k = 0; k < x.telephoneBook.size(); ++k) {
      EXPECT_EQ(x.telephoneBook[k].number, y.telephoneBook[k].number);
      EXPECT_EQ(x.telephoneBook[k].name, y.telephoneBook[k].name);
    }
  }
  ASSERT_EQ(a.textMessages.size(), b.textMessages.size());
  for (auto i = a.textMessages.begin(), j = b.textMessages.begin(); i != a.textMessages.end(); ++i, ++j) {
    EXPECT_EQ(i->first, j->first);
    ExpectSameInboxEntry(i->second, j->second);
    EXPECT_EQ(i->second.read, j->second.read);
  }
  ExpectSameStatuses(a.statuses, b.statuses);
  ExpectSameStatuses(a.orderStatuses, b.orderStatuses);

  EXPECT_EQ(a.workingTime.GetState(), b.workingTime.GetState());
  EXPECT_EQ(a.workingTime.GetLastChange(), b.workingTime.GetLastChange());
  EXPECT_EQ(a.workingTime.GetStartOfWork(), b.workingTime.GetStartOfWork());
  EXPECT_EQ(a.workingTime.GetEndOfWork(), b.workingTime.GetEndOfWork());
  EXPECT_EQ(a.workingTime.GetStartOfLastPause(), b.workingTime.GetStartOfLastPause());
  EXPECT_EQ(a.workingTime.GetEndOfLastPause(), b.workingTime.GetEndOfLastPause());
  EXPECT_EQ(a.sortKeys.Current(), b.sortKeys.Current());

  EXPECT_EQ(a.config.configured, b.config.configured);
  EXPECT_EQ(a.config.askDriverId, b.config.askDriverId);
  EXPECT_EQ(a.config.logbookEnabled, b.config.logbookEnabled);
  EXPECT_EQ(a.config.thirdLogbookMode, b.config.thirdLogbookMode);
  EXPECT_EQ(a.config.workingTimeEnabled, b.config.workingTimeEnabled);
  EXPECT_EQ(a.config.logbookFollowsWorkingTime, b.config.logbookFollowsWorkingTime);
  EXPECT_EQ(a.config.etaEnabled, b.config.etaEnabled);
  EXPECT_EQ(a.config.etaIntervalHome, b.config.etaIntervalHome);
  EXPECT_EQ(a.config.etaIntervalRoaming, b.config.etaIntervalRoaming);
  EXPECT_EQ(a.config.privacyEnabled, b.config.privacyEnabled);
  EXPECT_EQ(a.config.resetMode, b.config.resetMode);
  EXPECT_EQ(a.config.newSessionBoundary, b.config.newSessionBoundary);

  EXPECT_EQ(a.velarn.linkLostAt, b.velarn.linkLostAt);
  ExpectSameGps(a.velarn.gps, b.velarn.gps);
  EXPECT_EQ(a.velarn.odometer, b.velarn.odometer);
  EXPECT_EQ(a.velarn.tripValue, b.velarn.tripValue);
  EXPECT_EQ(a.velarn.registered, b.velarn.registered);
  EXPECT_EQ(a.velarn.homeNetwork, b.velarn.homeNetwork);
  EXPECT_EQ(a.velarn.logbook.mode, b.velarn.logbook.mode);
  EXPECT_EQ(a.velarn.logbook.tripValid, b.velarn.logbook.tripValid);
  EXPECT_EQ(a.velarn.logbook.tripOdometer, b.velarn.logbook.tripOdometer);
  EXPECT_EQ(a.velarn.logbook.tripStarted, b.velarn.logbook.tripStarted);
  EXPECT_EQ(a.velarn.logbook.tripDuration, b.velarn.logbook.tripDuration);
  EXPECT_EQ(a.velarn.logbook.tripDistance, b.velarn.logbook.tripDistance);
  EXPECT_EQ(a.velarn.gpsFeedEnabled, b.velarn.gpsFeedEnabled);

  EXPECT_EQ(a.zu.lastEta, b.zu.lastEta);
  EXPECT_EQ(a.zu.etaOrderId, b.zu.etaOrderId);
  EXPECT_EQ(a.zu.reservedTime, b.zu.reservedTime);
  EXPECT_EQ(a.zu.driverId, b.zu.driverId);
  ExpectSameGps(a.zu.gps, b.zu.gps);
  EXPECT_EQ(a.zu.logbookMode, b.zu.logbookMode);
  EXPECT_EQ(a.zu.NCVersion, b.zu.NCVersion);
  EXPECT_EQ(a.zu.NCBuild, b.zu.NCBuild);
  EXPECT_EQ(a.zu.SNR, b.zu.SNR);
}

}  // namespace testdata

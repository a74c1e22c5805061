#include "velarnctl/DbDump.h"

#include <cstdio>
#include <ostream>
#include <string>

#include "data/Database.h"
#include "velarnctl/Meanings.h"

namespace velarnctl {

namespace {

// The value, with its meaning in parentheses unless the form is raw.
std::string Named(OutputForm form, long long value, const std::string& meaning) {
  return Annotated(form, std::to_string(value), meaning);
}

// A string in double quotes, with anything unprintable escaped.
std::string Quote(const std::string& text) {
  std::string quoted = "\"";
  for (const char c : text) {
    const unsigned char byte = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      quoted += '\\';
      quoted += c;
    } else if (byte < 0x20 || byte == 0x7F) {
      char escape[8];
      std::snprintf(escape, sizeof(escape), "\\x%02x", byte);
      quoted += escape;
    } else {
      quoted += c;
    }
  }
  return quoted + "\"";
}

// Times of the daemon (seconds since 1970): the date and, in parentheses,
// the stored number; the number alone in the raw form.
std::string Time(OutputForm form, unsigned seconds) {
  if (form == OutputForm::Raw) {
    return std::to_string(seconds);
  }
  return seconds == 0 ? "none" : UtcText(seconds) + " (" + std::to_string(seconds) + ")";
}

// A time of the unit's clock (seconds since 2000-01-01), shown as a date with
// the stored number.
std::string UnitTime(OutputForm form, unsigned seconds) {
  if (form == OutputForm::Raw) {
    return std::to_string(seconds);
  }
  const std::string date = Time2000Meaning(seconds);
  return date == "none" ? date : date + " (" + std::to_string(seconds) + " since 2000)";
}

std::string TimeMs(OutputForm form, uint64_t milliseconds) {
  if (form == OutputForm::Raw) {
    return std::to_string(milliseconds);
  }
  return milliseconds == 0
             ? "none"
             : UtcText(static_cast<int64_t>(milliseconds / 1000), static_cast<int>(milliseconds % 1000)) +
                   " (" + std::to_string(milliseconds) + ")";
}

// In degrees; raw, in millionths of a degree as stored.
std::string Place(OutputForm form, const data::Position& position) {
  if (form == OutputForm::Raw) {
    return std::to_string(position.latitude) + ", " + std::to_string(position.longitude);
  }
  if (position.IsNull()) {
    return "none";
  }
  return DecimalDegrees(position.latitude, 1000000) + ", " + DecimalDegrees(position.longitude, 1000000);
}

const char* YesNo(bool value) { return value ? "yes" : "no"; }

void Line(std::ostream& out, int indent, const std::string& label, const std::string& value) {
  // Values line up in one column whatever the indent.
  const std::size_t used = static_cast<std::size_t>(indent) + label.size() + 1;
  out << std::string(static_cast<std::size_t>(indent), ' ') << label << ':'
      << std::string(used < 28 ? 28 - used : 1, ' ') << value << '\n';
}

void PrintGps(std::ostream& out, int indent, const data::GPSInfo& gps, OutputForm form) {
  Line(out, indent, "status", std::string(1, gps.status));
  Line(out, indent, "position", Place(form, gps.position));
  Line(out, indent, "time", Time(form, gps.time));
  Line(out, indent, "satellites", std::to_string(gps.satellites));
  Line(out, indent, "speed", std::to_string(gps.speed));
  Line(out, indent, "course", std::to_string(gps.course));
}

void PrintInboxEntry(std::ostream& out, const data::InboxEntry& entry, OutputForm form) {
  Line(out, 4, "sort key", std::to_string(entry.sortKey));
  Line(out, 4, "arrived", Time(form, entry.arrivalTime));
  Line(out, 4, "last change", Time(form, entry.lastChangeTime));
}

void PrintOrder(std::ostream& out, const data::Order& order, OutputForm form) {
  out << "  order " << order.id << '\n';
  Line(out, 4, "number", Quote(order.number));
  Line(out, 4, "state", Named(form, order.state, OrderStateMeaning(order.state)));
  Line(out, 4, "type", Named(form, order.type, StoredOrderTypeMeaning(order.type)));
  PrintInboxEntry(out, order, form);
  Line(out, 4, "active state", Named(form, order.activeState, BitsMeaning(order.activeState)));
  Line(out, 4, "allowed active states",
       Named(form, order.allowedActiveStates, BitsMeaning(order.allowedActiveStates)));
  Line(out, 4, "destination", Place(form, order.destination));
  Line(out, 4, "destination description", Quote(order.destinationDescription));
  Line(out, 4, "planned arrival", Time(form, order.plannedArrival));
  for (const data::TelephoneBookEntry& entry : order.telephoneBook) {
    Line(out, 4, "telephone", Quote(entry.number) + (entry.name.empty() ? "" : " " + Quote(entry.name)));
  }
  Line(out, 4, "text", Quote(order.text));
}

void PrintStatuses(std::ostream& out, const char* title, const data::ObjectList<data::Status>& list) {
  out << title << " (" << list.size() << ")\n";
  for (const auto& entry : list) {
    out << "  " << entry.first << ' ' << Quote(entry.second.text) << '\n';
  }
}

nlohmann::json GpsToJson(const data::GPSInfo& gps) {
  return {{"status", std::string(1, gps.status)},
          {"position", {{"latitude", gps.position.latitude}, {"longitude", gps.position.longitude}}},
          {"time", gps.time},
          {"satellites", gps.satellites},
          {"speed", gps.speed},
          {"course", gps.course}};
}

nlohmann::json StatusesToJson(const data::ObjectList<data::Status>& list) {
  nlohmann::json result = nlohmann::json::array();
  for (const auto& entry : list) {
    result.push_back({{"id", entry.second.id}, {"text", entry.second.text}});
  }
  return result;
}

void AddInboxEntry(nlohmann::json& json, const data::InboxEntry& entry) {
  json["id"] = entry.id;
  json["text"] = entry.text;
  json["sortKey"] = entry.sortKey;
  json["arrivalTime"] = entry.arrivalTime;
  json["lastChangeTime"] = entry.lastChangeTime;
}

}  // namespace

void PrintDatabase(std::ostream& out, const data::Database& database, unsigned sections, OutputForm form) {
  if (sections == 0) {
    return;
  }
  out << "orders (" << database.orders.size() << ")\n";
  for (const auto& entry : database.orders) {
    PrintOrder(out, entry.second, form);
  }
  if (sections <= 1) {
    return;
  }
  out << "text messages (" << database.textMessages.size() << ")\n";
  for (const auto& entry : database.textMessages) {
    const data::TextMessage& message = entry.second;
    out << "  message " << message.id << '\n';
    Line(out, 4, "read", YesNo(message.read));
    PrintInboxEntry(out, message, form);
    Line(out, 4, "text", Quote(message.text));
  }
  if (sections <= 2) {
    return;
  }
  PrintStatuses(out, "statuses", database.statuses);
  if (sections <= 3) {
    return;
  }
  PrintStatuses(out, "order statuses", database.orderStatuses);
  if (sections <= 4) {
    return;
  }

  const data::WorkingTimeReporting& clock = database.workingTime;
  out << "working time\n";
  Line(out, 2, "state", Named(form, clock.GetState(), WorkingTimeStateMeaning(clock.GetState())));
  Line(out, 2, "allowed actions",
       Named(form, clock.GetAllowedActions(), WorkingTimeActionsMeaning(clock.GetAllowedActions())));
  Line(out, 2, "last change", Time(form, clock.GetLastChange()));
  Line(out, 2, "start of work", Time(form, clock.GetStartOfWork()));
  Line(out, 2, "end of work", Time(form, clock.GetEndOfWork()));
  Line(out, 2, "start of last pause", Time(form, clock.GetStartOfLastPause()));
  Line(out, 2, "end of last pause", Time(form, clock.GetEndOfLastPause()));
  if (sections <= 5) {
    return;
  }
  out << "sort keys\n";
  Line(out, 2, "last key", std::to_string(database.sortKeys.Current()));

  if (sections <= 6) {
    return;
  }
  const data::ConfigParameters& config = database.config;
  out << "configuration\n";
  Line(out, 2, "configured", YesNo(config.configured));
  Line(out, 2, "ask driver id", YesNo(config.askDriverId));
  Line(out, 2, "logbook", YesNo(config.logbookEnabled));
  Line(out, 2, "third logbook mode", YesNo(config.thirdLogbookMode));
  Line(out, 2, "working time", YesNo(config.workingTimeEnabled));
  Line(out, 2, "logbook follows work", YesNo(config.logbookFollowsWorkingTime));
  Line(out, 2, "arrival reports", YesNo(config.etaEnabled));
  const char* seconds = form == OutputForm::Raw ? "" : " s";
  Line(out, 2, "report interval home", std::to_string(config.etaIntervalHome) + seconds);
  Line(out, 2, "report interval roaming", std::to_string(config.etaIntervalRoaming) + seconds);
  Line(out, 2, "privacy", YesNo(config.privacyEnabled));
  Line(out, 2, "reset mode", std::to_string(config.resetMode));
  Line(out, 2, "new session boundary", std::to_string(config.newSessionBoundary));

  if (sections <= 7) {
    return;
  }
  const data::VelarnParameters& velarn = database.velarn;
  out << "unit\n";
  Line(out, 2, "link lost at", TimeMs(form, velarn.linkLostAt));
  Line(out, 2, "odometer", std::to_string(velarn.odometer));
  Line(out, 2, "trip value", std::to_string(velarn.tripValue));
  Line(out, 2, "registered", YesNo(velarn.registered));
  Line(out, 2, "home network", YesNo(velarn.homeNetwork));
  Line(out, 2, "gps feed", YesNo(velarn.gpsFeedEnabled));
  out << "  gps\n";
  PrintGps(out, 4, velarn.gps, form);
  out << "  logbook\n";
  const data::LogbookInfo& logbook = velarn.logbook;
  Line(out, 4, "mode", Named(form, logbook.mode, UnitLogbookModeMeaning(logbook.mode)));
  Line(out, 4, "trip valid", YesNo(logbook.tripValid));
  Line(out, 4, "trip odometer", std::to_string(logbook.tripOdometer));
  // Kept as the unit reported it, on the unit's clock, which counts from 2000.
  Line(out, 4, "trip started", UnitTime(form, logbook.tripStarted));
  Line(out, 4, "trip duration", std::to_string(logbook.tripDuration));
  Line(out, 4, "trip distance", std::to_string(logbook.tripDistance));

  if (sections <= 8) {
    return;
  }
  const data::ZUParameters& zu = database.zu;
  out << "navigation\n";
  Line(out, 2, "driver id", std::to_string(zu.driverId));
  Line(out, 2, "logbook mode", Named(form, zu.logbookMode, UnitLogbookModeMeaning(zu.logbookMode)));
  Line(out, 2, "last arrival report", Time(form, zu.lastEta));
  Line(out, 2, "reported order", std::to_string(zu.etaOrderId));
  Line(out, 2, "reserved time", std::to_string(zu.reservedTime));
  Line(out, 2, "version", Quote(zu.NCVersion));
  Line(out, 2, "build", Quote(zu.NCBuild));
  Line(out, 2, "serial number", Quote(zu.SNR));
  out << "  gps\n";
  PrintGps(out, 4, zu.gps, form);
}

nlohmann::json DatabaseToJson(const data::Database& database) {
  nlohmann::json orders = nlohmann::json::array();
  for (const auto& entry : database.orders) {
    const data::Order& order = entry.second;
    nlohmann::json json;
    AddInboxEntry(json, order);
    json["number"] = order.number;
    json["destination"] = {{"latitude", order.destination.latitude},
                           {"longitude", order.destination.longitude}};
    json["destinationDescription"] = order.destinationDescription;
    json["type"] = static_cast<int>(order.type);
    json["state"] = static_cast<int>(order.state);
    const std::string stateName = OrderStateMeaning(order.state);
    json["stateName"] = stateName.empty() ? "unknown" : stateName;
    json["activeState"] = order.activeState;
    json["allowedActiveStates"] = order.allowedActiveStates;
    json["plannedArrival"] = order.plannedArrival;
    json["telephoneBook"] = nlohmann::json::array();
    for (const data::TelephoneBookEntry& phone : order.telephoneBook) {
      json["telephoneBook"].push_back({{"number", phone.number}, {"name", phone.name}});
    }
    orders.push_back(json);
  }
  nlohmann::json messages = nlohmann::json::array();
  for (const auto& entry : database.textMessages) {
    nlohmann::json json;
    AddInboxEntry(json, entry.second);
    json["read"] = entry.second.read;
    messages.push_back(json);
  }
  const data::WorkingTimeReporting& clock = database.workingTime;
  const data::ConfigParameters& config = database.config;
  const data::VelarnParameters& velarn = database.velarn;
  const data::LogbookInfo& logbook = velarn.logbook;
  const data::ZUParameters& zu = database.zu;
  return {
      {"orders", orders},
      {"textMessages", messages},
      {"statuses", StatusesToJson(database.statuses)},
      {"orderStatuses", StatusesToJson(database.orderStatuses)},
      {"workingTime",
       {{"state", static_cast<int>(clock.GetState())},
        {"allowedActions", clock.GetAllowedActions()},
        {"lastChange", clock.GetLastChange()},
        {"startOfWork", clock.GetStartOfWork()},
        {"endOfWork", clock.GetEndOfWork()},
        {"startOfLastPause", clock.GetStartOfLastPause()},
        {"endOfLastPause", clock.GetEndOfLastPause()}}},
      {"sortKeys", database.sortKeys.Current()},
      {"config",
       {{"configured", config.configured},
        {"askDriverId", config.askDriverId},
        {"logbookEnabled", config.logbookEnabled},
        {"thirdLogbookMode", config.thirdLogbookMode},
        {"workingTimeEnabled", config.workingTimeEnabled},
        {"logbookFollowsWorkingTime", config.logbookFollowsWorkingTime},
        {"etaEnabled", config.etaEnabled},
        {"etaIntervalHome", config.etaIntervalHome},
        {"etaIntervalRoaming", config.etaIntervalRoaming},
        {"privacyEnabled", config.privacyEnabled},
        {"resetMode", config.resetMode},
        {"newSessionBoundary", config.newSessionBoundary}}},
      {"velarn",
       {{"linkLostAt", velarn.linkLostAt},
        {"gps", GpsToJson(velarn.gps)},
        {"odometer", velarn.odometer},
        {"tripValue", velarn.tripValue},
        {"registered", velarn.registered},
        {"homeNetwork", velarn.homeNetwork},
        {"logbook",
         {{"mode", static_cast<int>(logbook.mode)},
          {"tripValid", logbook.tripValid},
          {"tripOdometer", logbook.tripOdometer},
          {"tripStarted", logbook.tripStarted},
          {"tripDuration", logbook.tripDuration},
          {"tripDistance", logbook.tripDistance}}},
        {"gpsFeedEnabled", velarn.gpsFeedEnabled}}},
      {"zu",
       {{"lastEta", zu.lastEta},
        {"etaOrderId", zu.etaOrderId},
        {"reservedTime", zu.reservedTime},
        {"driverId", zu.driverId},
        {"gps", GpsToJson(zu.gps)},
        {"logbookMode", static_cast<int>(zu.logbookMode)},
        {"NCVersion", zu.NCVersion},
        {"NCBuild", zu.NCBuild},
        {"SNR", zu.SNR}}},
  };
}

}  // namespace velarnctl

// The daemon's logic under hostile input from all three parties at once: the
// bytes are a script of steps, each one a server message (from the unit's
// data stream or as its parameter "ZUK"), a message of the navigation
// application with fuzzed field values, or an event of the unit. Whatever
// comes, nothing crashes and the inbox keeps its rules: at most 100 orders and
// 100 text messages, at most one active order, every string within its cut,
// status ids within their lists, and every message to the server parses.
//
// A step is: one byte for its kind, then its payload, whose length is the
// following byte (payload bytes beyond the input are taken as zeros).
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "bkcom/IMessageSender.h"
#include "bkcom/MessageCatalogue.h"
#include "bkcom/VelarnMessage.h"
#include "bkcom/VelarnMessageRegistry.h"
#include "common/Buffer.h"
#include "data/Database.h"
#include "nmea/IGPSFeeder.h"
#include "quorlan/Message.h"
#include "velarn/IVelarnDriver.h"
#include "velarnd/Application.h"

namespace {

void Check(bool condition) {
  if (!condition) {
    std::abort();
  }
}

// Takes the script apart; reads past the end give zeros.
class Script {
 public:
  Script(const uint8_t* data, size_t size) : data(data), size(size) {}
  bool AtEnd() const { return position >= size; }
  uint8_t Byte() { return position < size ? data[position++] : 0; }
  uint32_t Word() {
    uint32_t value = 0;
    for (int i = 0; i < 4; ++i) {
      value = value << 8 | Byte();
    }
    return value;
  }
  std::string Text(size_t length) {
    std::string text;
    for (size_t i = 0; i < length; ++i) {
      text.push_back(static_cast<char>(Byte()));
    }
    return text;
  }

 private:
  const uint8_t* data;
  size_t size;
  size_t position = 0;
};

class Driver : public velarn::IVelarnDriver {
 public:
  void Connect() override {}
  void Listen() override {}
  void Disconnect() override {}
  bool IsConnected() const override { return connected; }
  bool IsNewSession() const override { return false; }
  void SendMessage(const common::Buffer& message, const std::string&, unsigned flags) override {
    Check(flags == 2);
    quorlan::Message parsed;
    parsed.Parse(message);  // throws, and so aborts the run, on bytes that don't parse
  }
  void RequestLogbookInfo() override {}
  void SetLogbookMode(unsigned char mode) override { Check(mode >= 2 && mode <= 4); }
  void RequestParam(const std::string&) override {}
  void SendParamResponse(const std::string&, const common::Buffer&) override {}
  void SendParamNotFound(const std::string&) override {}
  void NotifyParamChanged(const std::string&) override {}

  bool connected = false;
};

class Feeder : public nmea::IGPSFeeder {
 public:
  void Open() override { open = true; }
  void Write(const nmea::ANMEASentence&) override {}
  void Close() override { open = false; }
  bool IsOpen() const override { return open; }
  bool open = false;
};

// Encodes what the application sends, so that every field is written once.
class Sender : public bkcom::IMessageSender {
 public:
  void Send(CVelarnMessage& message) override { Check(message.Encode()); }
};

// A message of the navigation application: a class of the catalogue that
// comes in, its fields filled from the script, decoded as the event loop
// would and handed to the application.
void NavigationMessage(Script& script, velarnd::Application& application) {
  std::vector<const bkcom::MessageInfo*> incoming;
  for (const bkcom::MessageInfo& info : bkcom::MessageCatalogue()) {
    // The suspension pauses for real; it has nothing else to fuzz.
    if (info.direction != bkcom::Direction::Out && info.id != CSuspendAction::kId) {
      incoming.push_back(&info);
    }
  }
  const bkcom::MessageInfo& info = *incoming[script.Byte() % incoming.size()];
  CBrenikCommunicationMessage source;
  source.Create();
  source.SetInt8("MessageID", static_cast<int8_t>(info.id));
  for (const bkcom::FieldInfo& field : info.fields) {
    const char* name = field.name.c_str();
    switch (field.kind) {
      case bkcom::FieldKind::Int8:
        source.SetInt8(name, static_cast<int8_t>(script.Byte()));
        break;
      case bkcom::FieldKind::Uint8:
        source.SetUint8(name, script.Byte());
        break;
      case bkcom::FieldKind::Uint16:
        source.SetUint16(name, static_cast<uint16_t>(script.Word()));
        break;
      case bkcom::FieldKind::Int32:
        source.SetInt32(name, static_cast<int32_t>(script.Word()));
        break;
      case bkcom::FieldKind::Uint32:
        // Small values reach the interesting branches (ids, states, bits).
        source.SetUint32(name, script.Byte() < 128 ? script.Byte() % 8 : script.Word());
        break;
      case bkcom::FieldKind::Bool:
        source.SetBool(name, script.Byte() & 1);
        break;
      case bkcom::FieldKind::Text: {
        std::string text = script.Text(script.Byte() % 8);
        text.erase(std::find(text.begin(), text.end(), '\0'), text.end());
        source.SetStr(name, text.c_str());
        break;
      }
    }
  }
  std::unique_ptr<CVelarnMessage> message(CVelarnMessageRegistry::Instance().CreateMessage(source));
  if (message) {
    int handled = 0;
    application.HandleMessage(message.get(), nullptr, &handled);
  }
}

void UnitEvent(Script& script, velarnd::Application& application, Driver& driver) {
  switch (script.Byte() % 8) {
    case 0:
      driver.connected = true;
      application.OnConnected(driver, script.Byte() & 1);
      break;
    case 1:
      driver.connected = false;
      application.OnInterrupted(driver);
      break;
    case 2: {
      std::vector<velarn::StatusTableRow> table(script.Byte() % 8);
      for (velarn::StatusTableRow& row : table) {
        row.key = script.Byte();
        row.text = script.Text(script.Byte() % 4);
      }
      application.OnStatusTableModified(driver, table);
      break;
    }
    case 3: {
      velarn::GPSFix fix;
      fix.status = script.Byte();
      fix.latitude = static_cast<int32_t>(script.Word());
      fix.longitude = static_cast<int32_t>(script.Word());
      fix.time = script.Word();
      fix.course = static_cast<uint16_t>(script.Word());
      fix.tripValue = script.Word();
      velarn::GPSFixEx fixEx;
      fixEx.status = script.Byte();
      application.OnNewGPSFix(driver, fix, fixEx);
      break;
    }
    case 4: {
      velarn::LogbookData logbook;
      logbook.mode = script.Byte() % 6;
      logbook.tripValid = script.Byte() & 1;
      logbook.odometer = script.Word();
      application.OnNewLogbookInfo(driver, logbook);
      break;
    }
    case 5:
      application.OnNetworkRegistrationChanged(driver, script.Byte(), 0);
      break;
    case 6: {
      common::Buffer value(4, 200);
      const uint8_t length = script.Byte() % 3;
      for (uint8_t i = 0; i < length; ++i) {
        value.Append(script.Byte());
      }
      application.OnVelarnParamResponse(driver, "GPF", value);
      break;
    }
    default:
      application.OnZuParamRequest(driver, script.Text(3));
      break;
  }
}

void CheckInbox(data::Database& database) {
  Check(database.orders.size() <= 100);
  Check(database.textMessages.size() <= 100);
  int active = 0;
  for (const auto& entry : database.orders) {
    const data::Order& order = entry.second;
    active += order.IsActive() ? 1 : 0;
    Check(order.number.size() <= 20 && order.text.size() <= 500 &&
          order.destinationDescription.size() <= 200);
    Check((order.allowedActiveStates & 1) != 0 && (order.allowedActiveStates >> 5) == 0);
  }
  Check(active <= 1);
  for (const auto& entry : database.textMessages) {
    Check(entry.second.text.size() <= 700);
  }
  for (const auto& entry : database.statuses) {
    Check(entry.first >= 1 && entry.first <= 30);
  }
  for (const auto& entry : database.orderStatuses) {
    Check(entry.first >= 1 && entry.first <= 30);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  data::Database database("/nonexistent/fuzz.db");
  Driver driver;
  Feeder feeder;
  Sender sender;
  velarnd::Application application(database, driver, feeder);
  application.SetSender(&sender);

  Script script(data, size);
  for (int steps = 0; !script.AtEnd() && steps < 256; ++steps) {
    switch (script.Byte() % 4) {
      case 0:
      case 1: {
        // A server message, from the data stream (with the unit's valid flag)
        // or as the unit's parameter "ZUK".
        const bool asParameter = script.Byte() & 1;
        const unsigned length = script.Byte();
        common::Buffer message(length, 200);
        for (unsigned i = 0; i < length; ++i) {
          message.Append(script.Byte());
        }
        if (asParameter) {
          application.OnVelarnParamResponse(driver, "ZUK", message);
        } else {
          application.OnReceivedMessage(driver, message, true);
        }
        break;
      }
      case 2:
        NavigationMessage(script, application);
        break;
      default:
        UnitEvent(script, application, driver);
        break;
    }
    CheckInbox(database);
  }
  application.SetSender(nullptr);
  return 0;
}

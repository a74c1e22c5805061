#include "velarnctl/MsgFields.h"

#include <nlohmann/json.hpp>
#include <ostream>
#include <string>

#include "quorlan/IIncomingMessageHandler.h"
#include "quorlan/IncomingMessages.h"
#include "quorlan/MessageDump.h"

namespace velarnctl {

namespace {

using quorlan::MessageField;

std::string Quoted(const std::string& text) {
  return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::string Text(uint8_t value) { return std::to_string(value); }
std::string Text(uint32_t value) { return std::to_string(value); }
std::string Text(int32_t value) { return std::to_string(value); }
std::string Text(bool value) { return value ? "true" : "false"; }
std::string Text(const std::string& value) { return Quoted(value); }

template <class T>
std::string StateText(const MessageField<T>& field) {
  switch (field.state) {
    case quorlan::Set:
      return Text(field.value);
    case quorlan::Null:
      return "null";
    default:
      return "absent";
  }
}

class FieldPrinter : public quorlan::IIncomingMessageHandler {
 public:
  explicit FieldPrinter(std::ostream& out) : out(out) {}

  void Handle(const quorlan::NewOrderInMsg& m) override {
    out << "NewOrderInMsg:\n";
    Line("orderId", m.orderId);
    Line("number", m.number);
    Line("orderType", m.orderType);
    Line("text", m.text);
    Line("allowedActiveStates", m.allowedActiveStates);
    Destination(m.destination);
    Line("acceptanceRequired", m.acceptanceRequired);
    Time("plannedArrival", m.plannedArrival);
    TelephoneNumbers(m.telephoneNumbers);
  }

  void Handle(const quorlan::UpdateOrderInMsg& m) override {
    out << "UpdateOrderInMsg:\n";
    Line("orderId", m.orderId);
    Line("number", m.number);
    Line("text", m.text);
    Destination(m.destination);
    Time("plannedArrival", m.plannedArrival);
    TelephoneNumbers(m.telephoneNumbers);
  }

  void Handle(const quorlan::CancelOrderInMsg& m) override {
    out << "CancelOrderInMsg:\n";
    Line("orderId", m.orderId);
  }

  void Handle(const quorlan::NewTextMessageInMsg& m) override {
    out << "NewTextMessageInMsg:\n";
    Line("messageId", m.messageId);
    Line("text", m.text);
  }

  void Handle(const quorlan::ConfigurationInMsg& m) override {
    out << "ConfigurationInMsg:\n";
    Line("askDriverId", m.askDriverId);
    Line("logbookEnabled", m.logbookEnabled);
    Line("thirdLogbookMode", m.thirdLogbookMode);
    Line("workingTimeEnabled", m.workingTimeEnabled);
    Line("logbookFollowsWorkingTime", m.logbookFollowsWorkingTime);
    Line("etaEnabled", m.etaEnabled);
    Line("etaIntervalHome", m.etaIntervalHome);
    Line("etaIntervalRoaming", m.etaIntervalRoaming);
    Line("privacyEnabled", m.privacyEnabled);
    Line("resetMode", m.resetMode);
  }

  void Handle(const quorlan::ResetInMsg& m) override {
    out << "ResetInMsg:\n";
    Line("deleteOrders", m.deleteOrders);
    Line("deleteTextMessages", m.deleteTextMessages);
  }

 private:
  template <class T>
  void Line(const char* name, const MessageField<T>& field, const char* indent = "  ") {
    out << indent << name << ": " << StateText(field) << "\n";
  }

  void Time(const char* name, const MessageField<uint32_t>& field) {
    out << "  " << name << ": " << StateText(field);
    if (field.state == quorlan::Set) {
      out << " (" << quorlan::MessageDump::TimeText(field.value) << ")";
    }
    out << "\n";
  }

  template <class T>
  bool Group(const char* name, const MessageField<T>& field) {
    if (field.state != quorlan::Set) {
      out << "  " << name << ": " << (field.state == quorlan::Null ? "null" : "absent") << "\n";
      return false;
    }
    return true;
  }

  void Destination(const MessageField<quorlan::DestinationGroup>& field) {
    if (Group("destination", field)) {
      out << "  destination:\n";
      Line("latitude", field.value.latitude, "    ");
      Line("longitude", field.value.longitude, "    ");
      Line("description", field.value.description, "    ");
    }
  }

  void TelephoneNumbers(const MessageField<quorlan::TelephoneNumbers>& field) {
    if (Group("telephoneNumbers", field)) {
      out << "  telephoneNumbers: " << field.value.size() << " entries\n";
      for (size_t i = 0; i < field.value.size(); ++i) {
        out << "    [" << i << "] name: " << StateText(field.value[i].name)
            << ", number: " << StateText(field.value[i].number) << "\n";
      }
    }
  }

  std::ostream& out;
};

}  // namespace

void PrintFields(std::ostream& out, const quorlan::AIncomingMessage& message) {
  FieldPrinter printer(out);
  message.Dispatch(printer);
}

}  // namespace velarnctl

#pragma once

#include <map>

#include "velarn/pdu/AppMsg.h"

namespace common {
class Buffer;
}

namespace velarn {

// Makes empty incoming messages of one class for the registry.
class AIncomingAppMsgFactory {
 public:
  virtual ~AIncomingAppMsgFactory() = default;
  // A new message with its fields at their values before decoding; the caller
  // owns it.
  virtual AIncomingAppMsg* Create() const = 0;
  virtual unsigned short GetId() const = 0;
};

// The factory of T. Each object registers itself with the registry when it is
// constructed; there is one static object per incoming class.
template <class T>
class IncomingAppMsgFactory : public AIncomingAppMsgFactory {
 public:
  IncomingAppMsgFactory();
  AIncomingAppMsg* Create() const override { return new T(); }
  unsigned short GetId() const override { return T::kId; }
};

// The process-wide table from PDU identifier to factory: the one place that
// knows which PDUs this device understands. It doesn't own the factories.
class AppMsgRegistry {
 public:
  static AppMsgRegistry& Instance();

  // A second factory for the same identifier replaces the first.
  void Register(AIncomingAppMsgFactory& factory);

  // A new message that the caller owns. Throws ParseException: "invalid pdu",
  // "can't find a factory", or the message's own decoding errors.
  AIncomingAppMsg* Decode(const common::Buffer& buffer) const;

  // Empties buffer, then leaves the message's PDU in it.
  void Encode(const AOutgoingAppMsg& message, common::Buffer& buffer) const;

 private:
  AppMsgRegistry() = default;
  AppMsgRegistry(const AppMsgRegistry&) = delete;
  AppMsgRegistry& operator=(const AppMsgRegistry&) = delete;

  std::map<unsigned short, AIncomingAppMsgFactory*> factories;
};

template <class T>
IncomingAppMsgFactory<T>::IncomingAppMsgFactory() {
  AppMsgRegistry::Instance().Register(*this);
}

}  // namespace velarn

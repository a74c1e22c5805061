#pragma once

#include <cstdint>

#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>

#include "quorlan/AIncomingMessage.h"
#include "quorlan/MessageCodec.h"

namespace quorlan {

// Creates one incoming message class for MessageCodec.
class AIncomingMessageFactory {
 public:
  virtual ~AIncomingMessageFactory() = default;
  // A new, default-constructed message.
  virtual boost::shared_ptr<AIncomingMessage> Create() = 0;
  virtual uint16_t GetMessageId() const = 0;
};

// The factory of T, which names its id as T::kMessageId. Constructing one
// registers it with the codec: one static instance per class, made during
// static initialisation (see MessageCodec.cpp).
template <class T>
class IncomingMessageFactory : public AIncomingMessageFactory {
 public:
  IncomingMessageFactory() { MessageCodec::Register(*this); }
  IncomingMessageFactory(const IncomingMessageFactory&) = delete;
  IncomingMessageFactory& operator=(const IncomingMessageFactory&) = delete;

  boost::shared_ptr<AIncomingMessage> Create() override { return boost::make_shared<T>(); }
  uint16_t GetMessageId() const override { return T::kMessageId; }
};

}  // namespace quorlan

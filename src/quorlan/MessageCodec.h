#pragma once

#include <cstdint>
#include <map>

#include <boost/noncopyable.hpp>
#include <boost/shared_ptr.hpp>

namespace common {
class Buffer;
}

namespace quorlan {

class AIncomingMessage;
class AIncomingMessageFactory;
class AOutgoingMessage;

// Turns bytes from the server into typed messages and typed messages into
// bytes. A lazily created singleton holds the map from message id to
// factory; the factories of the six incoming messages register during static
// initialisation, before main. Registration isn't locked: it belongs to
// start-up, and Parse only reads the map afterwards.
class MessageCodec : private boost::noncopyable {
 public:
  static MessageCodec& Instance();

  // Enters the factory under its id, replacing one registered before. The
  // factory isn't owned and must outlive its use.
  static void Register(AIncomingMessageFactory& factory);

  // Whether a factory is registered for id, i.e. whether Parse can make a
  // typed message of it.
  static bool IsRegistered(uint16_t id);

  // Parses the tree (every failure there a ParseException with the tree's
  // text), then looks the id up ("unknown message") and lets a new typed
  // message read its fields. Throws and leaves nothing behind on failure.
  static boost::shared_ptr<AIncomingMessage> Parse(const common::Buffer& buffer);

  // Sets buffer's size to 0, lets message write itself into a tree and
  // serialises the tree. On a failure the buffer is left empty and the
  // exception (SerializeException) goes on.
  static void Serialize(const AOutgoingMessage& message, common::Buffer& buffer);

 private:
  MessageCodec() = default;

  std::map<uint16_t, AIncomingMessageFactory*> factories;
};

}  // namespace quorlan

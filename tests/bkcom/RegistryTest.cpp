#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <stdexcept>
#include <string>

#include "CatalogueFields.h"
#include "RecordingHandler.h"
#include "bkcom/ABKComEventHandler.h"
#include "bkcom/MessageCatalogue.h"
#include "bkcom/VelarnMessageRegistry.h"

namespace {

using bkcom::MessageInfo;

// The registry's constructor is for the singleton; a test may build its own.
class OwnRegistry : public CVelarnMessageRegistry {};

// A factory of any number, to try the edges of the id match.
class NumberFactory : public IVelarnMessageFactory {
 public:
  explicit NumberFactory(int id) : id(id) {}
  CVelarnMessage* Create() override { return new CKeepAliveEvent(); }
  int GetMessageId() const override { return id; }

 private:
  int id;
};

std::unique_ptr<CVelarnMessage> FromCatalogue(const MessageInfo& info) {
  CBrenikCommunicationMessage source;
  source.Create();
  bkcomtest::FillMessage(source, info, 0);
  return std::unique_ptr<CVelarnMessage>(CVelarnMessageRegistry::Instance().CreateMessage(source));
}

// Exactly the classes that can come in are made, each as its own class, and
// dispatched to its own overload; the daemon's own messages are dropped.
TEST(RegistryTest, MakesAndDispatchesExactlyTheIncomingClasses) {
  CVelarnMessageRegistry& registry = CVelarnMessageRegistry::Instance();
  EXPECT_EQ(28, registry.GetCount());

  std::set<int> registered;
  for (int i = 0; i < registry.GetCount(); ++i) {
    registered.insert(registry.GetFactory(i)->GetMessageId());
  }
  EXPECT_EQ(28u, registered.size());
  EXPECT_EQ(nullptr, registry.GetFactory(28));

  for (const MessageInfo& info : bkcom::MessageCatalogue()) {
    SCOPED_TRACE(info.className);
    const bool incoming = info.direction != bkcom::Direction::Out;
    EXPECT_EQ(incoming, registered.count(info.id) == 1);
    std::unique_ptr<CVelarnMessage> message = FromCatalogue(info);
    if (!incoming) {
      EXPECT_EQ(nullptr, message);  // e.g. id 3: only the daemon sends it
      continue;
    }
    ASSERT_NE(nullptr, message);
    EXPECT_EQ(info.id, message->GetMessageId());
    bkcomtest::RecordingIncomingHandler handler;
    CVelarnMessageRegistry::Dispatch(*message, handler);
    EXPECT_EQ(std::vector<std::string>{info.className}, handler.calls);
  }

  // A message of the daemon's own that reaches Dispatch anyway does nothing.
  bkcomtest::RecordingIncomingHandler handler;
  COrderInfoEvent outgoing;
  CVelarnMessageRegistry::Dispatch(outgoing, handler);
  EXPECT_TRUE(handler.calls.empty());
}

TEST(RegistryTest, HoldsAtMost45FactoriesAndMatchesTheLow8Bits) {
  OwnRegistry registry;
  EXPECT_EQ(28, registry.GetCount());
  std::vector<std::unique_ptr<NumberFactory>> extra;
  for (int i = 0; i < 20; ++i) {
    extra.emplace_back(new NumberFactory(100 + i));
    registry.Add(extra.back().get());
  }
  EXPECT_EQ(CVelarnMessageRegistry::kCapacity, registry.GetCount());
  EXPECT_EQ(extra[16].get(), registry.GetFactory(44));

  // 100..116 made it, 117.. didn't.
  CBrenikCommunicationMessage source;
  source.Create();
  source.SetInt8("MessageID", 116);
  EXPECT_NE(nullptr, std::unique_ptr<CVelarnMessage>(registry.CreateMessage(source)));
  source.SetInt8("MessageID", 117);
  EXPECT_EQ(nullptr, std::unique_ptr<CVelarnMessage>(registry.CreateMessage(source)));

  EXPECT_TRUE(NumberFactory(256 + 27).HasId(27));
  EXPECT_TRUE(NumberFactory(255).HasId(-1));
  EXPECT_FALSE(NumberFactory(27).HasId(28));
}

class NullHandler : public bkcom::ABKComEventHandler {
 public:
  void HandleMessage(CVelarnMessage*, CBrenikCommunicationClient*, int*) override {}
  void OnStart() override {}
  void OnStop() override {}
  void OnClientConnected() override {}
  void OnClientDisconnected() override {}
  CVelarnMessageRegistry* GetMessageFactory() override { return &CVelarnMessageRegistry::Instance(); }
};

class CountingSender : public bkcom::IMessageSender {
 public:
  void Send(CVelarnMessage& message) override {
    ++sent;
    lastId = message.GetMessageId();
    if (fail) {
      throw std::runtime_error("gone");
    }
  }
  int sent = 0;
  int lastId = 0;
  bool fail = false;
};

TEST(RegistryTest, SendEventGoesToTheSenderIfAnyAndSwallowsItsFailures) {
  NullHandler handler;
  CKeepAliveEvent keepAlive;
  handler.SendEvent(keepAlive);  // no sender yet: nothing happens

  CountingSender sender;
  handler.SetSender(&sender);
  handler.SendEvent(keepAlive);
  EXPECT_EQ(1, sender.sent);
  EXPECT_EQ(CKeepAliveEvent::kId, sender.lastId);

  sender.fail = true;
  EXPECT_NO_THROW(handler.SendEvent(keepAlive));
  EXPECT_EQ(2, sender.sent);

  handler.SetSender(nullptr);
  handler.SendEvent(keepAlive);
  EXPECT_EQ(2, sender.sent);
}

}  // namespace

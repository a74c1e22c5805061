#pragma once

#include <cstdint>
#include <new>

#include <boost/thread/mutex.hpp>

#include "bkcom/Actions.h"
#include "bkcom/Events.h"
#include "common/Singleton.h"

class CBrenikCommunicationMessage;
class CVelarnMessage;
class CVelarnMessageRegistry;
namespace bkcom {
class IIncomingMessageHandler;
}

// Makes the objects of one message class.
class IVelarnMessageFactory {
 public:
  virtual ~IVelarnMessageFactory() = default;
  // A new object on the heap that the caller owns; null if memory ran out.
  virtual CVelarnMessage* Create() = 0;
  virtual int GetMessageId() const = 0;

  // Whether the low 8 bits of the class's number are id ("MessageID" is an
  // int8 on the wire).
  bool HasId(int8_t id) const;
};

// The factory of T, which registers itself with the registry it is given.
template <class T>
class CVelarnMessageFactory : public IVelarnMessageFactory {
 public:
  explicit CVelarnMessageFactory(CVelarnMessageRegistry& registry);
  // A T with all members zeroed or empty.
  CVelarnMessage* Create() override { return new (std::nothrow) T(); }
  int GetMessageId() const override { return T::kId; }
};

// The classes that the navigation application can send, by number: the one
// place that turns a received library message into an object. Filled once
// when it is built, only read afterwards. The daemon reaches its one instance
// through ABKComEventHandler::GetMessageFactory().
class CVelarnMessageRegistry : public common::Singleton<CVelarnMessageRegistry, boost::mutex> {
 public:
  static constexpr int kCapacity = 45;

  // Registers a factory; beyond kCapacity entries it is ignored.
  void Add(IVelarnMessageFactory* factory);
  int GetCount() const { return count; }
  IVelarnMessageFactory* GetFactory(int index) const;

  // The object of the first factory whose number matches the source's
  // "MessageID", decoded from source; the caller owns it. Null, and the
  // message is to be dropped, when "MessageID" is missing, no factory matches
  // or a field is missing or of another type.
  CVelarnMessage* CreateMessage(CBrenikCommunicationMessage& source);

  // Calls the handler's overload for the message's class; a number that
  // can't come in does nothing.
  static void Dispatch(CVelarnMessage& message, bkcom::IIncomingMessageHandler& handler);

 protected:
  friend class common::Singleton<CVelarnMessageRegistry, boost::mutex>;
  CVelarnMessageRegistry();

 private:
  // Declared before the factories, which fill them while they are built.
  IVelarnMessageFactory* factories[kCapacity] = {};
  int count = 0;

  CVelarnMessageFactory<CAcknowledge> acknowledge{*this};
  CVelarnMessageFactory<CBrenikInitVelarnAction> brenikInitVelarn{*this};
  CVelarnMessageFactory<CGetFeaturesInfoAction> getFeaturesInfo{*this};
  CVelarnMessageFactory<CRequestWorkingTimeStateAction> requestWorkingTimeState{*this};
  CVelarnMessageFactory<CChangeWorkingTimeStateAction> changeWorkingTimeState{*this};
  CVelarnMessageFactory<CGetConnectionStateAction> getConnectionState{*this};
  CVelarnMessageFactory<CGetAllItemsAction> getAllItems{*this};
  CVelarnMessageFactory<CGetStatusListAction> getStatusList{*this};
  CVelarnMessageFactory<CMarkReadOrderAction> markReadOrder{*this};
  CVelarnMessageFactory<CAcceptOrderAction> acceptOrder{*this};
  CVelarnMessageFactory<CRejectOrderAction> rejectOrder{*this};
  CVelarnMessageFactory<CCancelOrderAction> cancelOrder{*this};
  CVelarnMessageFactory<CStartOrderAction> startOrder{*this};
  CVelarnMessageFactory<CSuspendOrderAction> suspendOrder{*this};
  CVelarnMessageFactory<CResumeOrderAction> resumeOrder{*this};
  CVelarnMessageFactory<CCompleteOrderAction> completeOrder{*this};
  CVelarnMessageFactory<CSendStatusOrderAction> sendStatusOrder{*this};
  CVelarnMessageFactory<CChangeActiveStateAction> changeActiveState{*this};
  CVelarnMessageFactory<CDeleteOrderAction> deleteOrder{*this};
  CVelarnMessageFactory<CMarkReadTextMessageAction> markReadTextMessage{*this};
  CVelarnMessageFactory<CDeleteTextMessageAction> deleteTextMessage{*this};
  CVelarnMessageFactory<CSendTextMessageAction> sendTextMessage{*this};
  CVelarnMessageFactory<CSendStatusAction> sendStatus{*this};
  CVelarnMessageFactory<CChangeLogbookModeAction> changeLogbookMode{*this};
  CVelarnMessageFactory<CNavigationStateEvent> navigationState{*this};
  CVelarnMessageFactory<CSetDriverIdAction> setDriverId{*this};
  CVelarnMessageFactory<CSuspendAction> suspend{*this};
  CVelarnMessageFactory<CGPSEvent> gps{*this};
};

template <class T>
CVelarnMessageFactory<T>::CVelarnMessageFactory(CVelarnMessageRegistry& registry) {
  registry.Add(this);
}

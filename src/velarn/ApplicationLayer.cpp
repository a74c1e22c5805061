#include "velarn/ApplicationLayer.h"

#include <boost/bind/bind.hpp>
#include <memory>

#include "velarn/IApplicationLayerEventHandler.h"
#include "velarn/ITransportLayer.h"
#include "velarn/Packet.h"
#include "velarn/StatusTableReaderStates.h"
#include "velarn/pdu/AppMsgRegistry.h"
#include "velarn/pdu/IncomingAppMsgs.h"
#include "velarn/pdu/OutgoingAppMsgs.h"

namespace velarn {

namespace {

const uint64_t kLogbookPollMs = 15000;

}  // namespace

ApplicationLayer::ApplicationLayer(common::TimerMgr& timerMgr)
    : txBuffer(2048, 200),
      eventHandler(nullptr),
      transport(nullptr),
      logbookTimer(boost::bind(&ApplicationLayer::OnLogbookTimer, this, boost::placeholders::_1), timerMgr,
                   kLogbookPollMs),
      readerState(&DisconnectedSTRState::Instance()),
      rowCount(0) {
  // The shared states come to life on the constructing thread.
  WaitInfoSTRState::Instance();
  ReadingSTRState::Instance();
  IdleSTRState::Instance();
}

ApplicationLayer::~ApplicationLayer() = default;

// --- downward

void ApplicationLayer::Send(unsigned flags, const AOutgoingAppMsg& message) {
  if (transport == nullptr) {
    return;
  }
  try {
    AppMsgRegistry::Instance().Encode(message, txBuffer);
    transport->Send(flags, txBuffer);
  } catch (...) {
    // A PDU that can't be written (an oversized option) isn't sent at all.
  }
}

void ApplicationLayer::SendMessage(const common::Buffer& message, const std::string& recipient,
                                   unsigned flags) {
  Send(flags, AppMsg_4_7(message, recipient));
}

void ApplicationLayer::RequestLogbookInfo() { Send(Packet::kLinkOnly, AppMsg_1_1()); }

void ApplicationLayer::SetLogbookMode(unsigned char mode) {
  Send(Packet::kLinkOnly, AppMsg_1_3(mode));
  Send(Packet::kLinkOnly, AppMsg_1_1());
}

void ApplicationLayer::RequestParam(const std::string& name) { Send(Packet::kLinkOnly, AppMsg_8_1(name)); }

void ApplicationLayer::SendParamResponse(const std::string& name, const common::Buffer& value) {
  Send(Packet::kLinkOnly, AppMsg_8_3(name, value));
}

void ApplicationLayer::SendParamNotFound(const std::string& name) {
  Send(Packet::kLinkOnly, AppMsg_8_3(name));
}

void ApplicationLayer::NotifyParamChanged(const std::string& name) {
  Send(Packet::kLinkOnly, AppMsg_8_5(name));
}

// --- from the transport

void ApplicationLayer::OnConnected(bool newSession) {
  // The daemon hears of the link before any PDU of the greeting goes out.
  Raise([newSession](IApplicationLayerEventHandler& handler) { handler.OnConnected(newSession); });
  Send(Packet::kLinkOnly, AppMsg_4_B());
  Send(Packet::kLinkOnly, AppMsg_7_2(1));
  Send(Packet::kLinkOnly, AppMsg_1_1());
  logbookTimer.Start();
  readerState->OnConnected(*this, newSession);
}

void ApplicationLayer::OnInterrupted() {
  logbookTimer.Stop();
  readerState->OnDisconnected(*this);
  Raise([](IApplicationLayerEventHandler& handler) { handler.OnInterrupted(); });
}

void ApplicationLayer::OnReceived(const common::Buffer& payload) {
  try {
    std::unique_ptr<AIncomingAppMsg> message(AppMsgRegistry::Instance().Decode(payload));
    message->Dispatch(*this);
  } catch (...) {
    // Undecodable: dropped. The transport acknowledged it already, so the
    // unit won't repeat it.
  }
}

void ApplicationLayer::Stop() {
  logbookTimer.Stop();
  readerState->Stop(*this);
}

void ApplicationLayer::OnLogbookTimer(common::Timer& timer) {
  // A poll repeats itself; with the queue full it would only add to it.
  if (transport == nullptr || transport->HasRoom()) {
    Send(Packet::kLinkOnly, AppMsg_1_1());
  }
  timer.Start();
}

// --- decoded PDUs

void ApplicationLayer::Handle(const AppMsg_1_2& message) {
  const LogbookData& logbook = message.GetLogbook();
  Raise([&logbook](IApplicationLayerEventHandler& handler) { handler.OnNewLogbookInfo(logbook); });
}

void ApplicationLayer::Handle(const AppMsg_4_3& message) {
  readerState->OnTableInfo(*this, message.GetRowCount(), message.GetFlag());
}

void ApplicationLayer::Handle(const AppMsg_4_5& message) {
  readerState->OnTableRow(*this, message.GetIndex(), message.GetKey(), message.GetText());
}

void ApplicationLayer::Handle(const AppMsg_4_6& /*message*/) { readerState->OnTableChanged(*this); }

void ApplicationLayer::Handle(const AppMsg_4_8& message) {
  Raise([&message](IApplicationLayerEventHandler& handler) {
    handler.OnReceivedMessage(message.GetMessage(), message.IsValid());
  });
}

void ApplicationLayer::Handle(const AppMsg_4_A& message) {
  Raise([&message](IApplicationLayerEventHandler& handler) {
    handler.OnNetworkRegistrationChanged(message.GetStatus(), message.GetExtra());
  });
}

void ApplicationLayer::Handle(const AppMsg_7_1& message) {
  Raise([&message](IApplicationLayerEventHandler& handler) {
    handler.OnNewGPSFix(message.GetFix(), message.GetFixEx());
  });
}

void ApplicationLayer::Handle(const AppMsg_8_2& message) {
  if (message.IsFound()) {
    Raise([&message](IApplicationLayerEventHandler& handler) {
      handler.OnVelarnParamResponse(message.GetName(), message.GetValue());
    });
  } else {
    Raise([&message](IApplicationLayerEventHandler& handler) {
      handler.OnVelarnParamNotFound(message.GetName());
    });
  }
}

void ApplicationLayer::Handle(const AppMsg_8_4& message) {
  Raise([&message](IApplicationLayerEventHandler& handler) { handler.OnZuParamRequest(message.GetName()); });
}

void ApplicationLayer::Handle(const AppMsg_8_6& message) {
  Raise([&message](IApplicationLayerEventHandler& handler) {
    handler.OnVelarnParamChanged(message.GetName());
  });
}

// --- helpers

void ApplicationLayer::Raise(const std::function<void(IApplicationLayerEventHandler&)>& event) {
  if (eventHandler == nullptr) {
    return;
  }
  try {
    event(*eventHandler);
  } catch (...) {
    // An event that can't be raised (even for want of memory) is lost; the
    // stack goes on.
  }
}

void ApplicationLayer::ChangeReaderState(AStatusTableReaderState& next) {
  readerState->OnExit(*this);
  readerState = &next;
  readerState->OnEnter(*this);
}

const char* ApplicationLayer::GetReaderStateName() const { return readerState->Name(); }

}  // namespace velarn

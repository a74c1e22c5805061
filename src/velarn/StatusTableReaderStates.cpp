#include "velarn/StatusTableReaderStates.h"

#include <algorithm>

#include "velarn/IApplicationLayerEventHandler.h"
#include "velarn/Packet.h"
#include "velarn/pdu/OutgoingAppMsgs.h"

namespace velarn {

namespace {

// The key of a row that hasn't come yet; the unit can't send it.
const uint16_t kMissingKey = 0xFFFF;

}  // namespace

// --- all states

void ApplicationLayer::AStatusTableReaderState::Stop(ApplicationLayer& layer) {
  layer.rows.clear();
  layer.readerState = &DisconnectedSTRState::Instance();
}

void ApplicationLayer::AStatusTableReaderState::TakeTableInfo(ApplicationLayer& layer,
                                                              unsigned char rowCount) {
  if (rowCount == 0) {
    layer.rows.clear();
    const std::vector<StatusTableRow>& empty = layer.rows;
    layer.Raise([&empty](IApplicationLayerEventHandler& handler) { handler.OnStatusTableModified(empty); });
    layer.ChangeReaderState(IdleSTRState::Instance());
    return;
  }
  layer.rowCount = rowCount;
  // From reading too: through exit and entry, so the reading begins anew.
  layer.ChangeReaderState(ReadingSTRState::Instance());
}

// --- disconnected

void ApplicationLayer::DisconnectedSTRState::OnConnected(ApplicationLayer& layer, bool) {
  layer.ChangeReaderState(WaitInfoSTRState::Instance());
}

// --- waiting for the table's size

void ApplicationLayer::WaitInfoSTRState::OnEnter(ApplicationLayer& layer) {
  layer.Send(Packet::kLinkOnly, AppMsg_4_2());
}

void ApplicationLayer::WaitInfoSTRState::OnDisconnected(ApplicationLayer& layer) {
  layer.ChangeReaderState(DisconnectedSTRState::Instance());
}

void ApplicationLayer::WaitInfoSTRState::OnTableInfo(ApplicationLayer& layer, unsigned char rowCount, bool) {
  TakeTableInfo(layer, rowCount);
}

// --- reading the rows

void ApplicationLayer::ReadingSTRState::OnEnter(ApplicationLayer& layer) {
  StatusTableRow missing;
  missing.key = kMissingKey;
  layer.rows.resize(layer.rowCount, missing);
  layer.Send(Packet::kLinkOnly, AppMsg_4_4(0, static_cast<uint8_t>(layer.rowCount - 1)));
}

void ApplicationLayer::ReadingSTRState::OnExit(ApplicationLayer& layer) { layer.rows.clear(); }

void ApplicationLayer::ReadingSTRState::OnDisconnected(ApplicationLayer& layer) {
  layer.ChangeReaderState(DisconnectedSTRState::Instance());
}

void ApplicationLayer::ReadingSTRState::OnTableInfo(ApplicationLayer& layer, unsigned char rowCount, bool) {
  TakeTableInfo(layer, rowCount);
}

void ApplicationLayer::ReadingSTRState::OnTableRow(ApplicationLayer& layer, unsigned char index,
                                                   unsigned short key, const std::string& text) {
  if (index >= layer.rows.size()) {
    return;  // past the announced count
  }
  layer.rows[index].key = key;
  layer.rows[index].text = text;
  const bool complete = std::none_of(layer.rows.begin(), layer.rows.end(),
                                     [](const StatusTableRow& row) { return row.key == kMissingKey; });
  if (complete) {
    const std::vector<StatusTableRow>& table = layer.rows;
    layer.Raise([&table](IApplicationLayerEventHandler& handler) { handler.OnStatusTableModified(table); });
    layer.ChangeReaderState(IdleSTRState::Instance());
  }
}

void ApplicationLayer::ReadingSTRState::OnTableChanged(ApplicationLayer& layer) {
  layer.ChangeReaderState(WaitInfoSTRState::Instance());
}

// --- idle: the table is known

void ApplicationLayer::IdleSTRState::OnDisconnected(ApplicationLayer& layer) {
  layer.ChangeReaderState(DisconnectedSTRState::Instance());
}

void ApplicationLayer::IdleSTRState::OnTableChanged(ApplicationLayer& layer) {
  layer.ChangeReaderState(WaitInfoSTRState::Instance());
}

}  // namespace velarn

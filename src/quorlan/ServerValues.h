#pragma once

#include <cstdint>

// The server counts order types and working time states its own way; these
// are the translations between its numbers and the ones the daemon stores.
namespace quorlan {

// orderType of NewOrderInMsg as data::Order stores it: 1 gives 3, 2 gives 2,
// any other value 1.
uint8_t OrderTypeFromServer(uint8_t serverType);

// The way back, for orderType of OrderWorkflowEventOutMsg: stored 2 gives 2,
// 3 gives 1, any other 0.
uint8_t OrderTypeToServer(uint8_t storedType);

// previousState and newState of WorkingTimeReportOutMsg: the server knows 1,
// 2 and 3; any other stored state goes out as 0.
uint8_t WorkingTimeStateToServer(uint8_t storedState);

}  // namespace quorlan

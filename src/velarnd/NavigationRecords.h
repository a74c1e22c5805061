#pragma once

#include <string>
#include <vector>

#include "bkcom/Records.h"

namespace data {
class Order;
class Status;
class TelephoneBookEntry;
class TextMessage;
}  // namespace data

namespace velarnd {

// The records of the navigation link made from what the database stores.

// The longest telephone book that fits into "TN"; a longer one is left out
// whole rather than cut in the middle of an entry.
constexpr size_t kMaxTelephoneBookText = 500;
// The longest status text shown; a longer one is shown empty.
constexpr size_t kMaxStatusText = 100;

// The telephone book as one text: "name;number" per entry, entries joined by
// '|'. Separators inside a name or number become blanks, so that the text
// can always be split again. Empty if the result is longer than
// kMaxTelephoneBookText.
std::string JoinTelephoneBook(const std::vector<data::TelephoneBookEntry>& book);

// "Order_": positions divided by 10 (hundred-thousandths of a degree).
COrderRecord MakeOrderRecord(const data::Order& order);
// "Msg_".
CTextMessageRecord MakeTextMessageRecord(const data::TextMessage& message);
// "Status_", with the list's type: 1 order statuses, 2 general statuses.
CStatusRecord MakeStatusRecord(const data::Status& status, unsigned type);

}  // namespace velarnd

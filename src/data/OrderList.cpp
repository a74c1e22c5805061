#include "data/OrderList.h"

namespace data {

Order* OrderList::GetActive() { return const_cast<Order*>(static_cast<const OrderList*>(this)->GetActive()); }

const Order* OrderList::GetActive() const {
  for (const auto& entry : *this) {
    if (entry.second.IsActive()) {
      return &entry.second;
    }
  }
  return nullptr;
}

}  // namespace data

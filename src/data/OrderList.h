#pragma once

#include "data/ObjectList.h"
#include "data/Order.h"

namespace data {

// The orders, with the notion of the active one.
class OrderList : public ObjectList<Order> {
 public:
  // The first order in ascending id whose IsActive() is true, or null.
  Order* GetActive();
  const Order* GetActive() const;
  bool HasActive() const { return GetActive() != nullptr; }

  // Archive form: base ObjectList<Order>.
  template <class Archive>
  void serialize(Archive& archive, const unsigned int version);
};

}  // namespace data

BOOST_CLASS_VERSION(data::OrderList, 1)
BOOST_CLASS_TRACKING(data::OrderList, boost::serialization::track_never)

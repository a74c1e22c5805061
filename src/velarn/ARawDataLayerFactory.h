#pragma once

#include <boost/thread/recursive_mutex.hpp>

namespace velarn {

class ARawDataLayer;

// Makes the carrier for the driver, which then owns it; the mutex is the
// stack's, owned by the driver.
class ARawDataLayerFactory {
 public:
  virtual ~ARawDataLayerFactory() = default;
  virtual ARawDataLayer* Create(boost::recursive_mutex& mutex) = 0;
};

}  // namespace velarn

#pragma once

#include <boost/serialization/access.hpp>
#include <boost/serialization/version.hpp>

namespace velarn {

// The polymorphic root through which a transport layer's lasting state is
// taken out, stored and put back, so that the layer's interface names no
// concrete layout. It holds nothing itself.
class ATransportLayerContext {
 public:
  virtual ~ATransportLayerContext() = default;

 private:
  friend class boost::serialization::access;
  template <class Archive>
  void serialize(Archive& /*archive*/, const unsigned int /*version*/) {}
};

}  // namespace velarn

BOOST_CLASS_VERSION(velarn::ATransportLayerContext, 1)

#pragma once

namespace velarn {

// Somebody who can take the transport layer's context and keep it (the
// driver, in the context file).
class ITransportLayerContextStorage {
 public:
  virtual ~ITransportLayerContextStorage() = default;
  virtual void SaveContext() = 0;
};

}  // namespace velarn

#pragma once

#include "velarn/IFrameReceiver.h"
#include "velarn/ITransportLayer.h"

namespace velarn {

class ATransportLayerContext;
class IFrameSender;
class ITransportLayerContextStorage;
class ITransportLayerEventHandler;

// A transport layer as the driver sees it: a frame receiver below, the
// ITransportLayer operations above, its lasting state as a context, and a
// Stop that closes at once without any event.
class ATransportLayer : public IFrameReceiver, public ITransportLayer {
 public:
  ATransportLayer() : frameSender(nullptr), eventHandler(nullptr), contextStorage(nullptr) {}
  ~ATransportLayer() override = default;
  ATransportLayer(const ATransportLayer&) = delete;
  ATransportLayer& operator=(const ATransportLayer&) = delete;

  // Copies a context into the layer; the argument stays the caller's. Throws
  // std::invalid_argument for a null one or one of a foreign class.
  virtual void SetContext(ATransportLayerContext* context) = 0;
  // A new context that the caller owns.
  virtual ATransportLayerContext* GetContext() = 0;
  // Closes the layer at once; no event goes up.
  virtual void Stop() = 0;

  // Wiring, before the driver starts. A null event handler drops events.
  void SetFrameSender(IFrameSender* sender) { frameSender = sender; }
  void SetEventHandler(ITransportLayerEventHandler* handler) { eventHandler = handler; }
  void SetContextStorage(ITransportLayerContextStorage* storage) { contextStorage = storage; }

 protected:
  // Each does nothing when its collaborator isn't wired, and swallows every
  // exception of the call: nothing crosses a layer boundary.
  void SendToFrameLayer(const common::Buffer& frame);
  void NotifyConnected(bool newSession);
  void NotifyInterrupted();
  void NotifyReceived(const common::Buffer& payload);

  // Where the context could be kept at other moments than the driver's stop;
  // the state machine itself never saves.
  ITransportLayerContextStorage* GetContextStorage() const { return contextStorage; }

 private:
  IFrameSender* frameSender;                      // not owned
  ITransportLayerEventHandler* eventHandler;      // not owned
  ITransportLayerContextStorage* contextStorage;  // not owned
};

}  // namespace velarn

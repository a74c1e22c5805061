#pragma once

// The states of ApplicationLayer's status table reader; only its own sources
// include this.

#include <string>

#include "common/Singleton.h"
#include "velarn/ApplicationLayer.h"

namespace velarn {

// Every operation receives the layer it acts on and does nothing in this
// base, except Stop, which is the same for all states. No per-layer data.
class ApplicationLayer::AStatusTableReaderState {
 public:
  virtual ~AStatusTableReaderState() = default;
  virtual const char* Name() const = 0;

  virtual void OnEnter(ApplicationLayer&) {}
  virtual void OnExit(ApplicationLayer&) {}
  // Clears the rows and sets the disconnected state directly, without exit
  // or entry actions.
  virtual void Stop(ApplicationLayer& layer);
  virtual void OnConnected(ApplicationLayer&, bool /*newSession*/) {}
  virtual void OnDisconnected(ApplicationLayer&) {}
  virtual void OnTableInfo(ApplicationLayer&, unsigned char /*rowCount*/, bool /*flag*/) {}
  virtual void OnTableRow(ApplicationLayer&, unsigned char /*index*/, unsigned short /*key*/,
                          const std::string& /*text*/) {}
  virtual void OnTableChanged(ApplicationLayer&) {}

 protected:
  // An announced table of no rows is complete at once; others are read.
  static void TakeTableInfo(ApplicationLayer& layer, unsigned char rowCount);
};

class ApplicationLayer::DisconnectedSTRState
    : public AStatusTableReaderState,
      public common::Singleton<DisconnectedSTRState, common::NullMutex> {
 public:
  const char* Name() const override { return "disconnected"; }
  void OnConnected(ApplicationLayer& layer, bool newSession) override;
};

class ApplicationLayer::WaitInfoSTRState : public AStatusTableReaderState,
                                           public common::Singleton<WaitInfoSTRState, common::NullMutex> {
 public:
  const char* Name() const override { return "wait-info"; }
  void OnEnter(ApplicationLayer& layer) override;
  void OnDisconnected(ApplicationLayer& layer) override;
  void OnTableInfo(ApplicationLayer& layer, unsigned char rowCount, bool flag) override;
};

class ApplicationLayer::ReadingSTRState : public AStatusTableReaderState,
                                          public common::Singleton<ReadingSTRState, common::NullMutex> {
 public:
  const char* Name() const override { return "reading"; }
  void OnEnter(ApplicationLayer& layer) override;
  void OnExit(ApplicationLayer& layer) override;
  void OnDisconnected(ApplicationLayer& layer) override;
  void OnTableInfo(ApplicationLayer& layer, unsigned char rowCount, bool flag) override;
  void OnTableRow(ApplicationLayer& layer, unsigned char index, unsigned short key,
                  const std::string& text) override;
  void OnTableChanged(ApplicationLayer& layer) override;
};

class ApplicationLayer::IdleSTRState : public AStatusTableReaderState,
                                       public common::Singleton<IdleSTRState, common::NullMutex> {
 public:
  const char* Name() const override { return "idle"; }
  void OnDisconnected(ApplicationLayer& layer) override;
  void OnTableChanged(ApplicationLayer& layer) override;
};

}  // namespace velarn

#include "velarnd/VelarnDaemon.h"

#include <signal.h>

#include <stdexcept>

#include "common/ParseAddress.h"

namespace velarnd {

VelarnDaemon::VelarnDaemon(int argc, char** argv) : common::ADaemon(argc, argv) {}

std::string VelarnDaemon::Require(const char* name, const char* absentText) const {
  std::string value;
  if (!GetParameters().Get(name, value)) {
    throw std::runtime_error(absentText);
  }
  return value;
}

sockaddr_in VelarnDaemon::RequireAddress(const char* name, const char* absentText,
                                         const char* invalidText) const {
  sockaddr_in address{};
  if (!common::ParseAddress(Require(name, absentText), address)) {
    throw std::runtime_error(invalidText);
  }
  return address;
}

VelarnDaemon::Settings VelarnDaemon::ReadSettings() const {
  Settings settings;
  settings.serverAddress = Require("svraddr", "you must specify the server address (svraddr)");
  settings.databaseFile = Require("dbfile", "you must specify the database file (dbfile)");
  settings.unitLocalAddress =
      RequireAddress("zuaddr", "you must specify the ZU's address (zuaddr)", "invalid address (zuaddr)");
  settings.unitPeerAddress = RequireAddress(
      "velarnaddr", "you must specify the velarn's address (velarnaddr)", "invalid address (velarnaddr)");
  settings.contextFile = Require("ctxfile", "you must specify the velarn's context file (ctxfile)");
  settings.hasGpsPipe = GetParameters().Get("gpspipe", settings.gpsPipe);
  return settings;
}

int VelarnDaemon::Main() {
  const Settings settings = ReadSettings();
  (void)settings;
  WaitForStop();
  return 0;
}

void VelarnDaemon::OnSignal(int signalNumber) {
  switch (signalNumber) {
    case SIGHUP:
      if (IsConsole()) {
        RequestStop();
      }
      break;
    case SIGINT:
    case SIGTERM:
      RequestStop();
      break;
    default:
      break;
  }
}

void VelarnDaemon::RequestStop() {
  std::lock_guard<std::mutex> lock(stopMutex);
  stopRequested = true;
  stopChanged.notify_all();
}

void VelarnDaemon::WaitForStop() {
  std::unique_lock<std::mutex> lock(stopMutex);
  stopChanged.wait(lock, [this] { return stopRequested; });
}

}  // namespace velarnd

#include "velarnd/VelarnDaemon.h"

#include <signal.h>

#include <memory>
#include <stdexcept>

#include "common/ParseAddress.h"
#include "data/Database.h"
#include "nmea/NamedPipeGPSFeeder.h"
#include "nmea/NullGPSFeeder.h"
#include "velarn/NullFrameLayerFactory.h"
#include "velarn/UDPLayerFactory.h"
#include "velarn/VelarnDriver.h"
#include "velarnd/Application.h"

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

unsigned VelarnDaemon::CheckpointSeconds() const {
  std::string text;
  if (!GetParameters().Get("checkpoint", text)) {
    return kDefaultCheckpointSeconds;
  }
  unsigned long seconds = 0;
  const bool digits =
      !text.empty() && text.size() <= 6 && text.find_first_not_of("0123456789") == std::string::npos;
  if (digits) {
    seconds = std::stoul(text);
  }
  if (!digits || seconds > kMaxCheckpointSeconds) {
    throw std::runtime_error("invalid number of seconds (checkpoint)");
  }
  return static_cast<unsigned>(seconds);
}

int VelarnDaemon::Main() {
  const std::string serverAddress = Require("svraddr", "you must specify the server address (svraddr)");
  const std::string databaseFile = Require("dbfile", "you must specify the database file (dbfile)");

  // A good file exists before anything else can fail: a missing one is
  // written new, a damaged one is first kept aside as "<dbfile>.damaged" for
  // the operator. A file that can't be written doesn't stop the start.
  data::Database database(databaseFile);
  database.Open();

  const sockaddr_in unitLocalAddress =
      RequireAddress("zuaddr", "you must specify the ZU's address (zuaddr)", "invalid address (zuaddr)");
  const sockaddr_in unitPeerAddress = RequireAddress(
      "velarnaddr", "you must specify the velarn's address (velarnaddr)", "invalid address (velarnaddr)");
  const std::string contextFile = Require("ctxfile", "you must specify the velarn's context file (ctxfile)");
  const unsigned checkpointSeconds = CheckpointSeconds();

  velarn::UDPLayerFactory rawLayerFactory(unitLocalAddress, unitPeerAddress);
  velarn::NullFrameLayerFactory frameLayerFactory;
  velarn::VelarnDriver driver(contextFile, rawLayerFactory, frameLayerFactory);

  std::unique_ptr<nmea::IGPSFeeder> gpsFeeder(new nmea::NullGPSFeeder());
  std::string gpsPipe;
  if (GetParameters().Get("gpspipe", gpsPipe)) {
    gpsFeeder.reset(new nmea::NamedPipeGPSFeeder(gpsPipe));
  }

  Application application(database, driver, *gpsFeeder);
  application.SetCheckpointInterval(checkpointSeconds * 1000);
  driver.SetEventHandler(&application);
  // Starts the driver's threads only: the unit link stays closed until a
  // navigation application has completed its handshake.
  driver.Start();
  // Returns after OnSignal; its end writes the database.
  eventLoop.Run(application, serverAddress);
  int status = eventLoop.ServerFailed() ? kExitNoNavigationServer : 0;
  // Until its socket closes the driver acknowledges what the unit sends, and
  // its stop still delivers those events to the application; the replies
  // they cause go into the context file it writes.
  if (!driver.Stop()) {
    status += kExitContextNotWritten;
  }
  // So the database is written once more if those events changed it: every
  // data packet the unit got an acknowledgement for is in the file.
  if (!application.FinishStop()) {
    status += kExitDatabaseNotWritten;
  }
  return status;
}

void VelarnDaemon::OnSignal(int signalNumber) {
  switch (signalNumber) {
    case SIGHUP:
      if (IsConsole()) {
        eventLoop.Stop();
      }
      break;
    case SIGINT:
    case SIGTERM:
      eventLoop.Stop();
      break;
    default:
      break;
  }
}

}  // namespace velarnd

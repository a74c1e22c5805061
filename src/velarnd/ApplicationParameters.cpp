// The named parameters exchanged with the unit, the configuration that the
// server sends (directly, or held by the unit as "ZUK") and the server's
// order to empty the inbox.

#include <vector>

#include "bkcom/Events.h"
#include "common/Buffer.h"
#include "common/Exceptions.h"
#include "common/Time.h"
#include "data/Database.h"
#include "quorlan/EventOutMessages.h"
#include "quorlan/IncomingMessages.h"
#include "quorlan/OutgoingMessages.h"
#include "velarn/IVelarnDriver.h"
#include "velarnd/Application.h"
#include "velarnd/InboxLists.h"
#include "velarnd/Version.h"

namespace velarnd {

namespace {

// Parameters the unit reads from the daemon.
const char* const kRelease = "REL";
const char* const kCommands = "CMD";
const char* const kNavigationInfo = "NCI";
// What the daemon offers the server through the unit: orders, text messages,
// navigation.
const char* const kCommandList = "ORD,TXT,NAV";

// Parameters the daemon reads from the unit.
const char* const kGpsFeed = "GPF";
const char* const kConfiguration = "ZUK";

// Buffers of parameter values: no terminator.
void SetText(common::Buffer& value, const std::string& text) {
  value.Clear();
  value.Append(text.data(), static_cast<unsigned>(text.size()));
}

template <class T>
void CopyIfSet(const quorlan::MessageField<T>& field, T& target) {
  if (field.IsSet()) {
    target = field.value;
  }
}

}  // namespace

// --- The unit asks ---

bool Application::GetZuParameter(const std::string& name, common::Buffer& value) {
  if (name == kRelease) {
    SetText(value, RELEASE);
  } else if (name == kCommands) {
    SetText(value, kCommandList);
  } else if (name == kNavigationInfo) {
    const data::ZUParameters& zu = database.zu;
    SetText(value, zu.NCVersion + "/" + zu.NCBuild + "/" + zu.SNR);
  } else {
    return false;
  }
  return true;
}

void Application::OnZuParamRequest(velarn::IVelarnDriver& driver, const std::string& name) {
  boost::recursive_mutex::scoped_lock lock(mutex);
  common::Buffer value(32, 200);
  if (GetZuParameter(name, value)) {
    driver.SendParamResponse(name, value);
  } else {
    driver.SendParamNotFound(name);
  }
}

// --- The daemon reads ---

void Application::OnVelarnParamChanged(velarn::IVelarnDriver& driver, const std::string& name) {
  boost::recursive_mutex::scoped_lock lock(mutex);
  if (name == kConfiguration || name == kGpsFeed) {
    driver.RequestParam(name);
  }
}

void Application::OnVelarnParamResponse(velarn::IVelarnDriver& /*driver*/, const std::string& name,
                                        const common::Buffer& value) {
  boost::recursive_mutex::scoped_lock lock(mutex);
  if (name == kConfiguration) {
    // Whatever server message the unit holds is obeyed; one that doesn't
    // parse is dropped without a report, the configuration stays as it is.
    try {
      ParseAndDispatch(value);
    } catch (const ParseException&) {
    }
  } else if (name == kGpsFeed) {
    // Only a first byte 0 (or no byte) turns the feed off.
    const bool enabled = value.GetSize() > 0 && value[0] != 0;
    database.velarn.gpsFeedEnabled = enabled;
    SendFeaturesInfo();
    if (enabled) {
      OpenGpsFeed();
    } else {
      CloseGpsFeed();
    }
  }
}

void Application::OnVelarnParamNotFound(velarn::IVelarnDriver& /*driver*/, const std::string& name) {
  boost::recursive_mutex::scoped_lock lock(mutex);
  // A unit without "ZUK" leaves the configuration as it is.
  if (name == kGpsFeed) {
    database.velarn.gpsFeedEnabled = false;
    SendFeaturesInfo();
    CloseGpsFeed();
  }
}

// --- The configuration ---

void Application::Handle(const quorlan::ConfigurationInMsg& message) {
  data::ConfigParameters& config = database.config;
  CopyIfSet(message.askDriverId, config.askDriverId);
  CopyIfSet(message.logbookEnabled, config.logbookEnabled);
  CopyIfSet(message.thirdLogbookMode, config.thirdLogbookMode);
  CopyIfSet(message.workingTimeEnabled, config.workingTimeEnabled);
  CopyIfSet(message.logbookFollowsWorkingTime, config.logbookFollowsWorkingTime);
  CopyIfSet(message.etaEnabled, config.etaEnabled);
  CopyIfSet(message.etaIntervalHome, config.etaIntervalHome);
  CopyIfSet(message.etaIntervalRoaming, config.etaIntervalRoaming);
  CopyIfSet(message.privacyEnabled, config.privacyEnabled);
  CopyIfSet(message.resetMode, config.resetMode);

  SendFeaturesInfo();
  if (!config.workingTimeEnabled) {
    // A clock switched off restarts off work, without a report.
    database.workingTime.Reset();
    SendWorkingTimeState();
  }
  // Nobody may change the mode any more: back to business.
  if (!config.logbookEnabled && (!config.workingTimeEnabled || !config.logbookFollowsWorkingTime)) {
    database.zu.logbookMode = data::LogbookModeBusiness;
  }
  SendLogbookState();
  SendPrivacyState();
  driver.SetLogbookMode(static_cast<unsigned char>(database.zu.logbookMode));

  if (!config.configured) {
    ApplyFirstConfiguration();
  }
}

// The first configuration of a session decides about the entries the device
// held before the session began: report them (reset mode 1), report and
// delete them (mode 2), or keep them in silence (any other mode).
void Application::ApplyFirstConfiguration() {
  data::ConfigParameters& config = database.config;
  config.configured = true;
  const unsigned boundary = config.newSessionBoundary;

  auto older = [boundary](const data::InboxEntry& entry) { return entry.sortKey <= boundary; };
  const std::vector<uint32_t> olderOrders = IdsOf(database.orders, older);
  const std::vector<uint32_t> olderTextMessages = IdsOf(database.textMessages, older);

  if (config.resetMode == 1 || config.resetMode == 2) {
    quorlan::NewVelarnConnectedOutMsg connected;
    connected.time.SetValue(common::ToEpoch2000(common::GetTime()));
    connected.orderIds.SetValue(olderOrders);
    connected.textMessageIds.SetValue(olderTextMessages);
    connected.release.SetValue(RELEASE);
    connected.resetMode.SetValue(config.resetMode);
    SendToServer(connected, "", kServerMessageFlags);
  }
  if (config.resetMode == 2) {
    for (uint32_t id : olderOrders) {
      EraseOrder(id, true);
    }
    for (uint32_t id : olderTextMessages) {
      EraseTextMessage(id, true);
    }
  }

  quorlan::DriverIdChangedOutMsg driverId;
  FillEventHeader(driverId);
  driverId.driverId.SetValue(database.zu.driverId);
  driverId.previousDriverId.SetValue(database.zu.driverId);
  SendToServer(driverId, "", kServerMessageFlags);
}

// --- The reset ---

void Application::DeleteAllOrders() {
  auto all = [](const data::InboxEntry&) { return true; };
  for (uint32_t id : IdsOf(database.orders, all)) {
    EraseOrder(id, true);
  }
}

void Application::DeleteAllTextMessages() {
  auto all = [](const data::InboxEntry&) { return true; };
  for (uint32_t id : IdsOf(database.textMessages, all)) {
    EraseTextMessage(id, true);
  }
}

void Application::Handle(const quorlan::ResetInMsg& message) {
  if (message.deleteOrders.IsSet() && message.deleteOrders.value) {
    DeleteAllOrders();
  }
  if (message.deleteTextMessages.IsSet() && message.deleteTextMessages.value) {
    DeleteAllTextMessages();
  }
}

}  // namespace velarnd

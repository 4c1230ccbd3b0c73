// `storagedevices check-config`: shows the effect of a configuration on this machine.
#pragma once

#include <string>

#include "StorageDevices/DiscoveryPreview.h"
#include "agent/config/Config.h"

namespace Command {

// The preview as text: the appliance's files, then a line per device, then the expected mounts without a
// device. The first line names the source of the configuration.
std::string checkConfigText(Agent::Config const & config, std::string const & sourceLine,
                            StorageDevices::DiscoveryPreview const & preview);

}  // namespace Command

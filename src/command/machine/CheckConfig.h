// `storagedevices check-config`: shows the effect of a configuration on this machine.
#pragma once

#include <optional>
#include <string>

#include "StorageDevices/DiscoveryPreview.h"
#include "agent/config/Config.h"

namespace Command {

// The preview as text: the appliance's files, then a line per device, then the expected mounts without a
// device. The first line names the source of the configuration.
std::string checkConfigText(Agent::Config const & config, std::string const & sourceLine,
                            StorageDevices::DiscoveryPreview const & preview);

// Prints that text, and each error on standard error. Returns the exit code: 2 with an error. Raises
// Agent::ConfigError for a configuration that cannot be used.
int checkConfig(std::optional<std::string> const & configPath);

}  // namespace Command

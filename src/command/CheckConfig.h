// `storagedevices check-config`: says what a configuration means on this machine.
#pragma once

#include <string>

#include "StorageDevices/Examination.h"
#include "agent/config/Config.h"

namespace Agent {

// The examination in words: the appliance's files, then a line per device, then what is expected and
// missing. The first line says where the configuration comes from.
std::string checkConfigText(Config const & config, std::string const & sourceLine,
                            StorageDevices::Examination const & examination);

}  // namespace Agent

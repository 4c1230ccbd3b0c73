// Converts the configuration of the appliance to the library's form.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "agent/config/Config.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/model/FruConfig.h"

namespace Agent {

Pelm::Ptr<FruConfig> fruConfigOf(Config const & config);

// A line for the operator if the path is a symbolic link or no directory: then no file is written there.
// Nothing for a directory and for a missing path, which is created later.
std::optional<std::string> mountSourceError(std::filesystem::path const & directory);
// The reason and the remedy; `error` is the errno value of opening the directory.
std::string mountSourceReason(int error);

}  // namespace Agent

// What the configuration says of the appliance, as the library takes it.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "agent/config/Config.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/model/FruConfig.h"

namespace Agent {

Pelm::Ptr<FruConfig> fruConfigOf(Config const & config);

// A line on a directory that is none, or a symbolic link: no file is kept in it. Nothing for a directory and
// for one that is to be made.
std::optional<std::string> mountSourceError(std::filesystem::path const & directory);
// Why such a directory cannot be used; `error` is an errno of opening it.
std::string mountSourceReason(int error);

}  // namespace Agent

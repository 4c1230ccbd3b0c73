// Configuration keys that this version accepts but does not serve.
#pragma once

#include <string>
#include <vector>

#include "agent/config/Config.h"

namespace Agent {

// A line for each such key that is set, with the actual behaviour.
std::vector<std::string> keysWithoutEffect(Config const & config, bool underSystemd);

// Whether systemd has started this process, by its environment.
bool isUnderSystemd();

}  // namespace Agent

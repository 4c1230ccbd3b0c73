// Keys that the configuration may set and that this version does not serve.
#pragma once

#include <string>
#include <vector>

#include "agent/config/Config.h"

namespace Agent {

// A line for each key that asks for something else than what is done, with what is done.
std::vector<std::string> keysWithoutEffect(Config const & config, bool underSystemd);

// Whether systemd has started this process, as its environment says.
bool isUnderSystemd();

}  // namespace Agent

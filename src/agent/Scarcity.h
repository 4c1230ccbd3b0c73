// The warning about scarce descriptors at the agent's start.
#pragma once

#include <optional>
#include <string>

namespace Agent {

// With fewer descriptors than this the agent cannot watch even a few disks.
inline constexpr unsigned long fewDescriptors = 64;

// The warning, if `allowed`, the limit of open descriptors, is too low.
std::optional<std::string> descriptorsLine(unsigned long allowed);

}  // namespace Agent

// What the agent says at its start of means that are too scarce.
#pragma once

#include <optional>
#include <string>

namespace Agent {

// With fewer descriptors than this the agent cannot watch even a few disks.
inline constexpr unsigned long fewDescriptors = 64;

// A line when no more than `allowed` descriptors may be open and that is too few.
std::optional<std::string> descriptorsLine(unsigned long allowed);

}  // namespace Agent

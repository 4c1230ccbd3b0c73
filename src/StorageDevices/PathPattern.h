// A path with one "%s" for the name of a block device, as "/sys/block/%s/stat".
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace StorageDevices {

// Longer paths are cut.
inline constexpr std::size_t maxPathLength = 4095;

// Replaces the first "%s" by the name, and "%%" by "%". The pattern may come from the environment, so other
// conversions stay as they are.
std::string pathFromPattern(std::string_view pattern, std::string_view name);

}  // namespace StorageDevices

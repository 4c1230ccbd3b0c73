// A path with one "%s" for the name of a block device, as "/sys/block/%s/stat".
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace StorageDevices {

// Longer paths are cut.
inline constexpr std::size_t maxPathLength = 4095;

// Puts the name in the place of the first "%s". The pattern may come from the environment: everything
// else in it stands as it is, other conversions included, but for "%%", which is one "%".
std::string pathFromPattern(std::string_view pattern, std::string_view name);

}  // namespace StorageDevices

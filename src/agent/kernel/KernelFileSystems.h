// The devices of mounted file systems, as the kernel publishes them in sysfs.
#pragma once

#include <filesystem>
#include <string_view>

namespace Agent {

// Whether a mounted btrfs with this block device ("sda1") has other devices too. Source: the folder of its
// devices below /sys/fs/btrfs. False for every other device, and where nothing can be read. Accesses no
// device; reads a few hundred names at most.
bool liesOnSeveralDevices(std::string_view device, std::filesystem::path const & root = "/sys/fs/btrfs");

}  // namespace Agent

// What the kernel publishes of the devices of its mounted file systems.
#pragma once

#include <filesystem>
#include <string_view>

namespace Agent {

// Whether a mounted btrfs that has this block device ("sda1") lies on others too, from the folder of its
// devices below /sys/fs/btrfs. False for every other device, and where nothing can be read. Never asks a
// device itself; reads at most a few hundred names.
bool liesOnSeveralDevices(std::string_view device, std::filesystem::path const & root = "/sys/fs/btrfs");

}  // namespace Agent

// The devices of mounted file systems, as the kernel publishes them.
#pragma once

#include <filesystem>
#include <string_view>

namespace Agent {

// Whether the mounted file system that the kernel names by this block device ("sda1") has other devices too,
// one of which may have failed instead:
//
// - a btrfs on several devices: its folder below /sys/fs/btrfs
// - an XFS with a log or a real-time section elsewhere: the options logdev and rtdev in /proc/self/mountinfo
// - an ext4 with its journal elsewhere: /proc/fs/jbd2 has a device of that kind, and no journal in this one
//
// False for every other device, and where nothing can be read. Accesses no device; reads a few hundred names
// and the mount table at most. `root` stands for /.
bool liesOnSeveralDevices(std::string_view device, std::filesystem::path const & root);

}  // namespace Agent

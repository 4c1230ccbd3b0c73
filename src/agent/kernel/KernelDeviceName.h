// The kernel's names of disks and of their parts.
#pragma once

#include <string>
#include <string_view>

namespace Agent {

// The disk that a block device is or belongs to: "sdb" of "sdb1", "mmcblk0" of "mmcblk0p2" and
// "mmcblk0boot0", "nvme0n1" of "nvme0n1p3" and of the path "nvme0c1n1". A USB port without what follows a
// colon: "usb 2-1" of "usb 2-1:1.0". Empty for what lies on several disks ("md0", "drbd0", "bcache0p1"), of
// which nobody knows the disk. Every other name stays as it is.
std::string wholeDisk(std::string_view name);

}  // namespace Agent

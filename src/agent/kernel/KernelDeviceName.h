// The kernel's names of disks and of their parts.
#pragma once

#include <string>
#include <string_view>

namespace Agent {

// The disk that a block device is or belongs to. It is "sdb" for "sdb1", "mmcblk0" for "mmcblk0p2" and
// "mmcblk0boot0", "nvme0n1" for "nvme0n1p3" and the path "nvme0c1n1". A USB port loses its interface: "usb
// 2-1" for "usb 2-1:1.0". Empty for a device that lies on several disks ("md0", "drbd0", "bcache0p1"). Every
// other name is answered unchanged.
std::string wholeDisk(std::string_view name);

}  // namespace Agent

// Which kind of disk a device node's name stands for, and how an appliance names a partition's disk.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace StorageDevices {

// Each takes the node without "/dev/" and compares it whole; a partition's name is no disk's.
bool isScsiDiskName(std::string_view name);  // [hs]d[a-z]
bool isNvmeDiskName(std::string_view name);  // nvme\d+n\d+
bool isEmmcDiskName(std::string_view name);  // e?mmcblk[0-9]+

// The pattern without its last slash and what follows it, when that is nothing but digits, an optional
// dot, an optional asterisk and an optional dollar sign, in this order; nothing otherwise. The same as
// group 1 of a whole match with the ECMAScript pattern (.*)/\d*\.?\*?\$?$, whose dot stops at line
// terminators, so that a pattern with one before that slash is not cut.
std::optional<std::string> withoutWhiteboxTail(std::string_view pattern);

}  // namespace StorageDevices

// The kinds of device nodes' names, and the whitebox form of a pattern.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace StorageDevices {

// Each compares the whole name, the node without "/dev/". A partition's name never matches.
bool isScsiDiskName(std::string_view name);  // [hs]d[a-z]
bool isNvmeDiskName(std::string_view name);  // nvme\d+n\d+
bool isEmmcDiskName(std::string_view name);  // e?mmcblk[0-9]+

// The pattern without its whitebox tail: the last slash, digits, an optional dot, an optional asterisk and an
// optional dollar sign, in this order. Nothing without such a tail. Equals group 1 of a whole match with the
// ECMAScript pattern (.*)/\d*\.?\*?\$?$. Its dot matches no line terminator, so a pattern with one before
// that slash is not cut.
std::optional<std::string> withoutWhiteboxTail(std::string_view pattern);

}  // namespace StorageDevices

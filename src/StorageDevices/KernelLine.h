// Finds the device for which a line of the kernel's log reports an error.
#pragma once

#include <optional>
#include <string_view>

namespace StorageDevices {

// The first group of the first of the kernelLinePatterns (KernelLinePatterns.h) that is found in the line. It
// is a part of the line: for example "usb 1-2", "ata1" or "sda". Nothing when none is found. The line may
// have any bytes and any length; it ends at a NUL. The time is proportional to the length. No memory is
// allocated and nothing recurses.
std::optional<std::string_view> deviceInKernelLine(std::string_view line);

}  // namespace StorageDevices

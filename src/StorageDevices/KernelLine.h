// The device that a line of the kernel's log tells an error of.
#pragma once

#include <optional>
#include <string_view>

namespace StorageDevices {

// The answer of kernelLinePatterns (KernelLinePatterns.h): the first group of the first pattern that is found
// in the line, a part of the line, for example "usb 1-2", "ata1" or "sda"; nothing when none is found. Any
// bytes of any length may stand in the line, a zero byte ends it. Takes time in proportion to the length and
// neither memory nor deep stack, whatever the line holds.
std::optional<std::string_view> deviceInKernelLine(std::string_view line);

}  // namespace StorageDevices

// Disk sizes in gigabytes of 10^9 bytes, rounded to the nearest whole one, halves up.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace StorageDevices {

constexpr std::uint64_t bytesPerBlock = 512;  // the kernel's sector, whatever the disk's own is
constexpr std::uint64_t bytesPerGb = 1'000'000'000;

// Nothing when the size in gigabytes does not fit 32 bits, which takes more than four exabytes.
std::optional<std::uint32_t> gigabytes(std::uint64_t bytes);

// The size that sysfs gives as a decimal number of 512-byte sectors. 0 when the text is anything but
// digits (one line feed may end them, as it does in the file itself) and when the number of sectors, of
// bytes (both 64 bits) or of gigabytes (32 bits) overflows.
std::uint32_t sizeGbFromSectors(std::string_view sectors);

}  // namespace StorageDevices

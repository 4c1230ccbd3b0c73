// Disk sizes in gigabytes of 10^9 bytes, rounded to the nearest, halves up.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace StorageDevices {

constexpr std::uint64_t bytesPerBlock = 512;  // the kernel's sector, whatever the disk's own is
constexpr std::uint64_t bytesPerGb = 1'000'000'000;

// Nothing when the size in gigabytes exceeds 32 bits: above four exabytes.
std::optional<std::uint32_t> gigabytes(std::uint64_t bytes);

// The size for a decimal number of 512-byte sectors, as in sysfs; one line feed may follow. 0 for any other
// text, and when the number of sectors or bytes exceeds 64 bits, or that of gigabytes 32.
std::uint32_t sizeGbFromSectors(std::string_view sectors);

}  // namespace StorageDevices

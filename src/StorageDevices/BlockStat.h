// The first line of a block device's stat file.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace StorageDevices {

struct BlockStat {
   std::uint64_t sectorsRead = 0;  // of 512 bytes, since the device appeared
   std::uint64_t sectorsWritten = 0;
   bool operator==(BlockStat const &) const = default;
};

// Takes the first seven whole numbers in the line that only white space separates, and answers the third and
// the seventh. Nothing when there are no such seven, or when one of the two exceeds 64 bits.
std::optional<BlockStat> readBlockStat(std::string_view line);

}  // namespace StorageDevices

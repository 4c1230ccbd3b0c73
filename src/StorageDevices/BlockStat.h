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

// The third and the seventh of seven whole numbers that follow each other with nothing but white space
// between them, the first seven in the line that do; nothing when there are none, or when one of the two
// is beyond 64 bits.
std::optional<BlockStat> readBlockStat(std::string_view line);

}  // namespace StorageDevices

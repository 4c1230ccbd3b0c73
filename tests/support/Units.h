// Units and sizes that many tests count in.
#pragma once

#include <cstdint>

inline constexpr double day = 86400;  // seconds
inline constexpr std::uint64_t gib = std::uint64_t{1} << 30;
inline constexpr std::uint32_t blockSize = 4096;  // bytes, of the file systems under test

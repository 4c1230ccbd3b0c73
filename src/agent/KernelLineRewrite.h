// The lines of newer kernels in the words of those for which the library's expressions were written.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Agent {

// As much of a line as its receiver reads.
inline constexpr std::size_t kernelLineSize = 1024;

// Takes a whole line, "kernel: [ssssss.uuuuuu] text", and gives back at most kernelLineSize bytes of it:
//
// - A line from which the library reads a device names that device's disk in its place (sdb for sdb1).
// - A line that tells an error of a disk, a card or a USB port in other words is put into such that the
// library
//   reads the disk, the card or the port from it; the kernel's own words follow.
// - Every other line stays as it is: where the library read no device, it reads none from the result.
//
// Any bytes may come. Takes time in proportion to the length.
std::string rewriteKernelLine(std::string_view line);

}  // namespace Agent

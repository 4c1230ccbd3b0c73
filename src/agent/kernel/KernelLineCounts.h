// What became of the lines of the kernel's log.
#pragma once

#include <cstdint>

namespace Agent {

// Since the agent's start.
struct KernelLineCounts {
   std::uint64_t received = 0;   // from the kernel, whatever followed
   std::uint64_t forwarded = 0;  // sent to the library's socket
   std::uint64_t rewritten = 0;  // forwarded in other words than the kernel's
   std::uint64_t dropped = 0;    // without a receiver, or lost before they were read
   std::uint64_t overruns = 0;   // times that the kernel overwrote unread lines
};

}  // namespace Agent

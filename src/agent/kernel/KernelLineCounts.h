// What became of the lines of the kernel's log.
#pragma once

#include <cstdint>

namespace Agent {

// Since the agent's start.
struct KernelLineCounts {
   std::uint64_t received = 0;   // the kernel's own, whatever became of them
   std::uint64_t forwarded = 0;  // sent to the socket on which they are read
   std::uint64_t rewritten = 0;  // of these, in other words than the kernel's
   std::uint64_t dropped = 0;    // without a receiver, or lost before they were read
   std::uint64_t overruns = 0;   // how often the kernel overwrote records before they were read
};

}  // namespace Agent
